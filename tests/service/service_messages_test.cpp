#include "service/service_messages.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>

#include "service/card_blocks.h"
#include "service/wire_samples.h"

namespace idcardreader {
namespace {

TEST(ServiceMessages, LoginNamesTheApplicationAndEndsTheLine) {
  EXPECT_EQ(
      LoginMessage({"whole", "a", "b", "c", "d"}),
      R"({"appId":"a","hardwareNumber":"b","deviceNumber":"c","hardwareVersion":"d",)"
      R"("sdkVersion":"V2.84","deviceName":"readcard","deviceType":"readcard","type":"login"})"
      "\n");
  EXPECT_EQ(LoginMessage({}).find(R"({"appId":"app001","hardwareNumber":"IDCard","deviceNumber":)"
                                  R"("PcDevice","hardwareVersion":"verson",)"),
            0U);
}

TEST(ServiceMessages, HeartbeatCarriesTheDeviceCode) {
  EXPECT_EQ(HeartbeatMessage({}), R"({"sbm":"Appid&IDCard&PcDevice","type":"HEARTBEAT"})");
}

// An answer of the reader: echo, status, then data counted up from the value given.
Block ReaderAnswer(std::uint8_t first) {
  Block answer(64, 0);
  std::iota(answer.begin() + 2, answer.end(), first);
  return answer;
}

// Each block of eight is enciphered by itself, so that a file of zeros gives the same again and
// again between the block with the mark and the one with the pad.
std::string ZeroFileData(const std::string& first, int zeroBlocks, const std::string& last) {
  std::string data = "[" + first;
  for (int block = 0; block < zeroBlocks; ++block) data += ",-17,81,50,-54,95,75,-14,110";
  return data + "," + last + "]}";
}

constexpr char kPadOf6[] = "73,11,-54,50,19,-31,-59,0";
constexpr char kPadOf8[] = "64,-128,-37,102,53,-97,100,-96";

void ExpectUpload(Upload upload, const Block& block, const std::string& type,
                  const std::string& dataType, const std::string& data) {
  EXPECT_EQ(UploadMessage(Dialect::token, "tk-1", upload, block),
            R"({"type":")" + type + R"(","token":"tk-1","data":)" + data + "\n");
  EXPECT_EQ(UploadMessage(Dialect::device_code, "a&b", upload, block),
            R"({"sbm":"a&b","type":"INFO","dataType":")" + dataType + R"(","data":)" + data);
}

TEST(ServiceMessages, UploadsCarryTheEncipheredBlockInBothDialects) {
  Block fingerprints(1024, 0);
  fingerprints[2] = 1;
  ExpectUpload(Upload::dn, DnBlock(ReaderAnswer(0x01)), "dn2", "NULL", wire::kDnData);
  ExpectUpload(Upload::output_key, OutputKeyBlock(ReaderAnswer(0x21)), "BBB2", "FIRST",
               wire::kOutputKeyBlockData);
  ExpectUpload(Upload::sector11, SectorBlock(kFile11, Block(2000, 0)), "BB11", "FIRST",
               ZeroFileData("18,27,50,-70,-56,-105,94,-117", 26, kPadOf8));
  ExpectUpload(Upload::sector12, SectorBlock(kFile12, {}), "BB12", "FIRST",
               ZeroFileData("-38,-80,88,-92,116,71,-69,-35", 31, kPadOf6));
  ExpectUpload(Upload::sector13, SectorBlock(kFile13, Block(1024, 0)), "BB13", "FIRST",
               ZeroFileData("85,-63,-87,74,94,110,-70,-31", 127, kPadOf6));
  ExpectUpload(Upload::sector21, SectorBlock(kFile21, fingerprints), "BB21", "FIRST",
               ZeroFileData("79,-19,29,-19,96,36,-36,-17", 127, kPadOf6));
}

TEST(ServiceMessages, ACardWithoutFingerprintsSendsNoData) {
  EXPECT_EQ(NoFingerprintMessage("tk"), "{\"type\":\"BB21_2\",\"token\":\"tk\"}\n");
  for (const std::size_t position : {0U, 1U, 2U, 3U, 1023U}) {
    Block area(1024, 0);
    area[position] = 0x80;
    EXPECT_EQ(HasFingerprint(area), position < 3) << position;
  }
  EXPECT_FALSE(HasFingerprint(Block{}));
}

}  // namespace
}  // namespace idcardreader
