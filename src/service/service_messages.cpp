#include "service/service_messages.h"

#include "support/message_fields.h"

namespace idcardreader {
namespace {

constexpr std::size_t kShortestToken = 2;

bool IsQuoted(std::string_view text, std::string_view key) {
  const std::size_t position = FindKey(text, key);
  return position < text.size() && text[position] == '"';
}

}  // namespace

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

LoginAnswer ParseLoginAnswer(std::string_view answer) {
  LoginAnswer login;
  login.code = ReadValue(answer, "code").value_or(std::string_view());
  if (login.code != "00" || !IsQuoted(answer, "token")) {
    return login;
  }
  login.token = ReadValue(answer, "token").value_or(std::string_view());
  login.accepted = login.token.size() >= kShortestToken;
  return login;
}

}  // namespace idcardreader
