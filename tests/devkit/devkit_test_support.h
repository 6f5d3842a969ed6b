#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/cipher.h"
#include "base/encoding.h"
#include "base/json_file.h"
#include "card/card.h"
#include "decode_service/blocks.h"

namespace devkit {

inline Card CardOf(const std::string& json) {
  return ParseCard(ParseJsonText(json, "card"), "card", "card");
}

inline Card Resident() {
  return CardOf(R"({"type": "iden", "fields": {"name": "A", "sex": "1"}, "photo": {"seed": 5},
                    "fingerprint": {"seed": 5}, "chip": {"seed": 5}})");
}

inline Card ResidentWithoutFingerprint() {
  return CardOf(R"({"type": "iden", "photo": {"seed": 6}, "chip": {"seed": 6}})");
}

// The messages of a client, written by hand around the blocks.
struct ClientTexts {
  static std::string Login() {
    return R"({"appId":"app001","hardwareNumber":"AB","deviceNumber":"pcDevice",)"
           R"("hardwareVersion":"0254","sdkVersion":"V2.84","deviceName":"readcard",)"
           R"("deviceType":"readcard","type":"login"})";
  }
  static std::string Heartbeat() { return R"({"sbm":"a&b&c&d","type":"HEARTBEAT"})"; }
  static std::string Upload(const std::string& type, const std::string& token, ByteView block) {
    return R"({"type":")" + type + R"(","token":")" + token + R"(","data":)" +
           ByteArrayText(Encipher(kMessageKey, block)) + "}";
  }
  static std::string NoFingerprint(const std::string& token) {
    return R"({"type":"BB21_2","token":")" + token + R"("})";
  }
};

}  // namespace devkit
