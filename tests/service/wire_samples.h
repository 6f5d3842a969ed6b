#pragma once

#include <string>

// Texts of the service and of its clients, written out by hand; the enciphered bytes in them come
// from another implementation of the cipher.

namespace idcardreader::wire {

// Carry the keys 11 22 .. 88 and A1 A2 .. A8 in blocks of 19 bytes, the shortest that count.
inline constexpr char kInputKeyData[] =
    "[-60,40,-13,-44,-47,113,94,-24,76,-49,-88,-20,-78,-89,-29,123,33,47,-98,115,36,112,-34,69]";
inline constexpr char kOutputKeyData[] =
    "[42,42,55,-9,15,-9,47,-109,35,-38,22,17,91,-103,-104,-68,9,29,88,-79,-79,-39,-76,99]";
// The input key's block without its last byte, and with another first byte.
inline constexpr char kShortKeyData[] =
    "[-60,40,-13,-44,-47,113,94,-24,76,-49,-88,-20,-78,-89,-29,123,-29,-19,-121,-98,57,-20,-68,21]";
inline constexpr char kStrangeKeyData[] =
    "[-123,-18,-40,1,112,-36,19,-30,76,-49,-88,-20,-78,-89,-29,123,33,47,-98,115,36,112,-34,69]";

inline std::string InputKeyAnswer() {
  return std::string(R"({"code":"00","type":"dn","data":)") + kInputKeyData + "}\n";
}
inline std::string OutputKeyAnswer() {
  return std::string(R"({"code":"00","type":"BBB2","data":)") + kOutputKeyData + "}\n";
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
inline constexpr char kPermitData[] =
    "eNqrViqpLEhVslJKTyxR0gGRzolFKUpW1Up5ibkg8ZczOxSeLln+bFo7ULo4tQIo9HzKdiA7KbOoJCMlsRIoYGhpaWBg"
    "aGAEFE1MSSlKLS4GaVw289mO9U92rH3et17BUOFpP0hTJtBoJQtDAyCAaQIShiCZ4uJSkH1PW9c8Xdf5snkFyLqSxKIS"
    "l8QSkLgRWKUBSGlqXgpC0BQqWJBYXOyckZqc7QmywsPQyNjE1MzcQqm2FgAAf0xx";
inline std::string PermitAnswer() { return std::string(R"({"data":")") + kPermitData + "\"}\n"; }

}  // namespace idcardreader::wire
