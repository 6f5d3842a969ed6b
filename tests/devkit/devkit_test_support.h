#pragma once

#include <gtest/gtest.h>

#include <string>

#include "base/cipher.h"
#include "base/encoding.h"
#include "base/json_file.h"
#include "card/card.h"
#include "decode_service/blocks.h"

namespace devkit {

inline Card Resident(
    const std::string& more = R"("fingerprint": {"seed": 5}, "chip": {"seed": 5})") {
  return ParseCard(ParseJsonText(R"({"type": "iden", "photo": {"seed": 5}, )" + more + "}", "card"),
                   "card", "card");
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
};

}  // namespace devkit
