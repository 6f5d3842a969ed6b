#include "service/dialect.h"

#include "support/message_fields.h"

namespace idcardreader {

const char kSdkVersion[] = IDCARDREADER_SDK_VERSION;  // from the public header, by way of the build

std::string LoginMessage(const ServiceIdentity& identity) {
  MessageWriter message;
  message.AddString("appId", identity.applicationId);
  message.AddString("hardwareNumber", identity.hardwareNumber);
  message.AddString("deviceNumber", identity.deviceNumber);
  message.AddString("hardwareVersion", identity.hardwareVersion);
  message.AddString("sdkVersion", kSdkVersion);
  message.AddString("deviceName", "readcard");
  message.AddString("deviceType", "readcard");
  message.AddString("type", "login");
  return message.Text() + "\n";
}

std::string HeartbeatMessage(const ServiceIdentity& identity) {
  MessageWriter message;
  message.AddString("sbm", identity.deviceCode);
  message.AddString("type", "HEARTBEAT");
  return message.Text();
}

std::string TokenInAnswer(std::string_view answer) {
  constexpr std::size_t kShortestToken = 2;
  const std::size_t position = FindKey(answer, "token");
  const bool quoted = position < answer.size() && answer[position] == '"';
  const std::string_view token = ReadValue(answer, "token").value_or(std::string_view());
  if (ReadValue(answer, "code") != "00" || !quoted || token.size() < kShortestToken) {
    return {};
  }
  return std::string(token);
}

}  // namespace idcardreader
