#include "decode_service/client_message.h"

#include <array>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "base/cipher.h"

namespace devkit {
namespace {

using Json = nlohmann::ordered_json;

struct UploadType {
  std::string_view exchange;
  std::string_view tokenType;  // "type" in the token dialect
  std::uint8_t marker;         // second byte of the block
};
constexpr std::array<UploadType, 6> kUploadTypes = {{
    {"dn", "dn2", 0xAA},
    {"output-key", "BBB2", 0xB2},
    {"sector-11", "BB11", 0x11},
    {"sector-12", "BB12", 0x12},
    {"sector-13", "BB13", 0x13},
    {"sector-21", "BB21", 0x21},
}};
constexpr std::string_view kNoFingerprintType = "BB21_2";

std::string TextMember(const Json& message, const char* name) {
  const auto found = message.find(name);
  return found != message.end() && found->is_string() ? found->get<std::string>() : std::string();
}

void RequireMembers(const Json& message, const std::string& wanted) {
  std::string names;
  for (const auto& [name, value] : message.items()) {
    names += names.empty() ? "" : " ";
    names += name;
  }
  if (names != wanted) {
    throw std::runtime_error("has the members " + names + " instead of " + wanted);
  }
}

void RequireText(const Json& message, const char* name, const std::string& wanted) {
  if (TextMember(message, name) != wanted) {
    throw std::runtime_error("\"" + std::string(name) + "\" is not \"" + wanted + "\"");
  }
}

void RequireSomeText(const Json& message, const char* name) {
  if (TextMember(message, name).empty()) {
    throw std::runtime_error("\"" + std::string(name) + "\" is empty");
  }
}

Bytes ReadBlock(const Json& message) {
  const Json& data = message.at("data");
  if (!data.is_array()) throw std::runtime_error("\"data\" is no array");
  Bytes enciphered;
  for (const Json& element : data) {
    if (!element.is_number_integer() || element.get<long>() < -128 || element.get<long>() > 127) {
      throw std::runtime_error("\"data\" holds " + element.dump() + ", which is no signed byte");
    }
    enciphered.push_back(static_cast<std::uint8_t>(element.get<long>()));
  }
  return Decipher(kMessageKey, enciphered);
}

void ReadLogin(const Json& message) {
  RequireMembers(message,
                 "appId hardwareNumber deviceNumber hardwareVersion sdkVersion deviceName "
                 "deviceType type");
  RequireSomeText(message, "appId");
  RequireSomeText(message, "hardwareNumber");
  RequireSomeText(message, "deviceNumber");
  RequireSomeText(message, "hardwareVersion");
  RequireText(message, "sdkVersion", "V2.84");
  RequireText(message, "deviceName", "readcard");
  RequireText(message, "deviceType", "readcard");
}

void ReadTokenUpload(const Json& message, const std::string& type, ClientMessage& result) {
  for (const UploadType& upload : kUploadTypes) {
    if (type == upload.tokenType) result.exchange = upload.exchange;
  }
  if (type == kNoFingerprintType) result.exchange = "sector-21";
  if (result.exchange.empty()) throw std::runtime_error("\"type\" is unknown");
  result.token = TextMember(message, "token");
  RequireMembers(message, type == kNoFingerprintType ? "type token" : "type token data");
  if (type != kNoFingerprintType) result.block = ReadBlock(message);
}

void ReadDeviceCodeUpload(const Json& message, const std::string& type, ClientMessage& result) {
  const std::string dataType = TextMember(message, "dataType");
  if (type != "INFO" || (dataType != "NULL" && dataType != "FIRST")) {
    throw std::runtime_error("\"type\" or \"dataType\" is unknown");
  }
  if (dataType == "NULL") result.exchange = "dn";
  RequireMembers(message, "sbm type dataType data");
  RequireSomeText(message, "sbm");
  result.block = ReadBlock(message);
  if (dataType == "NULL") return;
  // The block itself tells what it is: all uploads after the first are of one type.
  for (const UploadType& upload : kUploadTypes) {
    if (upload.exchange != "dn" && result.block->size() > 2 &&
        (*result.block)[1] == upload.marker) {
      result.exchange = upload.exchange;
    }
  }
  if (result.exchange.empty()) throw std::runtime_error("the block's marker is unknown");
}

}  // namespace

ClientMessage ReadClientMessage(const std::string& text) {
  ClientMessage result;
  const Json message = Json::parse(text, nullptr, false);
  if (message.is_discarded() || !message.is_object()) {
    result.objection = "no JSON object";
    return result;
  }
  const std::string type = TextMember(message, "type");
  try {
    if (type == "login") {
      result.exchange = "login";
      ReadLogin(message);
    } else if (type == "HEARTBEAT") {
      result.exchange = "heartbeat";
      RequireMembers(message, "sbm type");
      RequireSomeText(message, "sbm");
    } else if (message.contains("sbm")) {
      result.dialect = Dialect::device_code;
      ReadDeviceCodeUpload(message, type, result);
    } else {
      ReadTokenUpload(message, type, result);
    }
    if (message.dump(-1, ' ', false, Json::error_handler_t::replace) != text) {
      throw std::runtime_error("not written without blanks and escapes");
    }
  } catch (const std::exception& error) {
    result.objection = error.what();
  }
  return result;
}

bool EndsWithLineFeed(const std::string& text) {
  return text.starts_with("{\"appId\":") || text.find("\"token\":") != std::string::npos;
}

}  // namespace devkit
