#pragma once

#include <string>

#include "base/cipher.h"
#include "base/encoding.h"

// Texts of the service, enciphered and compressed by the devkit.

namespace idcardreader::wire {

// A key in a block of 19 bytes, the shortest that counts.
inline devkit::Bytes KeyBlock(std::uint8_t mark, const char* key) {
  return devkit::FromHex("BB" + devkit::ToHex({&mark, 1}) + "0000000000000000" + key + "00");
}
inline std::string KeyData(const devkit::Bytes& block) {
  return devkit::ByteArrayText(devkit::Encipher(devkit::kMessageKey, block));
}
inline const std::string kInputKeyData = KeyData(KeyBlock(0xA2, "1122334455667788"));
inline const std::string kOutputKeyData = KeyData(KeyBlock(0xA3, "A1A2A3A4A5A6A7A8"));

inline std::string InputKeyAnswer() {
  return R"({"code":"00","type":"dn","data":)" + kInputKeyData + "}\n";
}
inline std::string OutputKeyAnswer() {
  return R"({"code":"00","type":"BBB2","data":)" + kOutputKeyData + "}\n";
}
inline std::string FirstAnswer(const std::string& data) {
  return R"({"dataType":"FIRST","data":)" + data + "}";
}

inline constexpr char kLoginAnswer[] = "{\"code\":\"00\",\"token\":\"tk-1\"}\n";
inline constexpr char kAcknowledgement[] = "{\"code\":\"00\"}\n";

// The content of a residence permit, and the same compressed.
inline constexpr char kPermitContent[] =
    R"({"type":"gat","gatCard":{"name":"陈 大文","sex":"男","birthday":"19900102",)"
    R"("address":"香港中环 1 号","id":"810000199001020011","issue":"公安部",)"
    R"("startDate":"20200101","endDate":"20250101","passCheckId":"H12345678"}})";
inline const std::string kPermitData = devkit::Base64(devkit::Deflate(kPermitContent));
inline std::string PermitAnswer() { return R"({"data":")" + kPermitData + "\"}\n"; }

}  // namespace idcardreader::wire
