#include "support/host_identity.h"

#include <gtest/gtest.h>

#include "support/bytes.h"

namespace idcardreader {
namespace {

TEST(HostIdentity, IsTheFirstAdapterOfAKnownMaker) {
  using Adapter = platform::NetworkAdapter;
  const Adapter other{"intel REALTEK Athero", Bytes("112233445566")};
  const Adapter intel{"Intel(R) PRO/1000", Bytes("001A2B3C4D5E")};
  const Adapter realtek{"Realtek PCIe GbE", Bytes("AABBCCDDEEFF")};
  const Adapter atheros{"an Atheros card", Bytes("0102")};
  // An address whose text takes more than 255 bytes ends the search.
  const Adapter longest{"", std::vector<std::uint8_t>(85)};
  const Adapter tooLong{"", std::vector<std::uint8_t>(86)};
  const std::pair<std::vector<Adapter>, const char*> rows[] = {
      {{other, intel, realtek}, "00-1A-2B-3C-4D-5E"},  // the makers are not ranked
      {{realtek, intel}, "AA-BB-CC-DD-EE-FF"},
      {{longest, atheros}, "01-02"},
      {{tooLong, atheros}, ""},
      {{other}, ""},
      {{{"Intel", {}}, realtek}, ""}};
  for (const auto& [adapters, address] : rows) EXPECT_EQ(HostAddress(adapters), address);
}

}  // namespace
}  // namespace idcardreader
