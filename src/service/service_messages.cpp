#include "service/service_messages.h"

#include "support/message_cipher.h"
#include "support/message_writer.h"

namespace idcardreader {
namespace {

std::string_view TokenType(Upload upload) {
  switch (upload) {
    case Upload::dn:
      return "dn2";
    case Upload::output_key:
      return "BBB2";
    case Upload::sector11:
      return "BB11";
    case Upload::sector12:
      return "BB12";
    case Upload::sector13:
      return "BB13";
    case Upload::sector21:
      return "BB21";
  }
  return {};
}

Block Enciphered(BlockView plainBlock) {
  const auto length = static_cast<std::int32_t>(plainBlock.size());
  Block cipher(static_cast<std::size_t>(EncipheredLength(length)));
  Encipher(kMessageKey, plainBlock.data(), length, cipher.data());
  return cipher;
}

}  // namespace

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

std::string UploadMessage(Dialect dialect, std::string_view credential, Upload upload,
                          BlockView plainBlock) {
  const Block cipher = Enciphered(plainBlock);
  MessageWriter message;
  if (dialect == Dialect::token) {
    message.AddString("type", TokenType(upload));
    message.AddString("token", credential);
    message.AddData(cipher.data(), cipher.size());
    return message.Text() + "\n";
  }
  message.AddString("sbm", credential);
  message.AddString("type", "INFO");
  message.AddString("dataType", upload == Upload::dn ? "NULL" : "FIRST");
  message.AddData(cipher.data(), cipher.size());
  return message.Text();
}

std::string NoFingerprintMessage(std::string_view token) {
  MessageWriter message;
  message.AddString("type", "BB21_2");
  message.AddString("token", token);
  return message.Text() + "\n";
}

}  // namespace idcardreader
