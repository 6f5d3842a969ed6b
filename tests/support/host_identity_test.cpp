#include "support/host_identity.h"

#include <gtest/gtest.h>

#include <string>

#include "support/bytes.h"

namespace idcardreader {
namespace {

platform::NetworkAdapter Adapter(const char* description, const std::string& address) {
  return {description, Bytes(address)};
}

TEST(HostIdentity, IsTheFirstAdapterOfAKnownMaker) {
  const auto other = Adapter("Someone's Ethernet", "112233445566");
  const auto intel = Adapter("Intel(R) PRO/1000", "001A2B3C4D5E");
  const auto realtek = Adapter("Realtek PCIe GbE", "AABBCCDDEEFF");
  constexpr char kIntel[] = "00-1A-2B-3C-4D-5E";
  EXPECT_EQ(HostAddress({other, intel}), kIntel);
  EXPECT_EQ(HostAddress({intel, realtek}), kIntel);  // the makers are not ranked
  EXPECT_EQ(HostAddress({realtek, intel}), "AA-BB-CC-DD-EE-FF");
  EXPECT_EQ(HostAddress({Adapter("an Atheros card", "0102")}), "01-02");
  EXPECT_EQ(HostAddress({}), "");
  EXPECT_EQ(HostAddress({other, Adapter("intel REALTEK Athero", "0102"), Adapter("", "01")}), "");
  EXPECT_EQ(HostAddress({Adapter("Intel", ""), realtek}), "");
  // An address whose text takes more than 255 bytes ends the search.
  EXPECT_EQ(HostAddress({Adapter("", std::string(85 * 2, '1')), intel}), kIntel);
  EXPECT_EQ(HostAddress({Adapter("", std::string(86 * 2, '1')), intel}), "");
}

}  // namespace
}  // namespace idcardreader
