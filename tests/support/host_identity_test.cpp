#include "support/host_identity.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/bytes.h"

namespace idcardreader {
namespace {

platform::NetworkAdapter Adapter(const char* description, const char* address) {
  return {description, Bytes(address)};
}

struct HostCase {
  const char* name;
  std::vector<platform::NetworkAdapter> adapters;
  std::string address;
};

class HostAddressOf : public testing::TestWithParam<HostCase> {};

TEST_P(HostAddressOf, Adapters) { EXPECT_EQ(HostAddress(GetParam().adapters), GetParam().address); }

const auto kOther = Adapter("Someone's Ethernet", "112233445566");
const auto kIntel = Adapter("Intel(R) PRO/1000", "001A2B3C4D5E");
const auto kRealtek = Adapter("Realtek PCIe GbE", "AABBCCDDEEFF");
const std::string kLong85(85 * 2, '1');  // 85 * 3 - 1 characters, which just fit
const std::string kLong86(86 * 2, '1');

INSTANTIATE_TEST_SUITE_P(
    Lists, HostAddressOf,
    testing::Values(
        HostCase{"None", {}, ""}, HostCase{"OtherMakersOnly", {kOther}, ""},
        HostCase{"Intel", {kOther, kIntel}, "00-1A-2B-3C-4D-5E"},
        HostCase{"TheFirstInTheListNotTheFirstMaker", {kIntel, kRealtek}, "00-1A-2B-3C-4D-5E"},
        HostCase{"Realtek", {kRealtek, kIntel}, "AA-BB-CC-DD-EE-FF"},
        HostCase{"AtherosInTheMiddle", {Adapter("Qualcomm Atheros AR", "0102")}, "01-02"},
        HostCase{"CaseCounts", {Adapter("intel REALTEK atheros", "0102")}, ""},
        HostCase{"WholeWordOnly", {Adapter("Inte", "0102"), Adapter("", "0304")}, ""},
        HostCase{"ChosenWithoutAnAddress", {Adapter("Intel", ""), kRealtek}, ""},
        HostCase{
            "AddressThatDoesNotFitEndsTheWalk", {Adapter("Other", kLong86.c_str()), kIntel}, ""},
        HostCase{"AddressThatJustFits",
                 {Adapter("Other", kLong85.c_str()), kIntel},
                 "00-1A-2B-3C-4D-5E"}),
    [](const auto& host) { return host.param.name; });

TEST(HostDeviceCode, IsAnAddressOrTheFallback) {
  const std::string address = HostAddress(platform::ListNetworkAdapters());
  EXPECT_EQ(HostDeviceCode(), address.empty() ? "pcDevice" : address);
}

}  // namespace
}  // namespace idcardreader
