#pragma once

#include <string>
#include <string_view>

#include "config/service_settings.h"
#include "service/card_blocks.h"

namespace idcardreader {

// The library's version as hosts and the service are told it.
inline constexpr char kSdkVersion[] = "V2.84";

enum class Dialect {
  device_code,  // no login; every message carries the device code
  token,        // every message carries the token of the login
};

// Texts that go onto the wire, each in one send. Login and token messages end with a line feed; the
// heartbeat and the device-code messages do not, and the service relies on that.
std::string LoginMessage(const ServiceIdentity& identity);
std::string HeartbeatMessage(const ServiceIdentity& identity);

enum class Upload { dn, output_key, sector11, sector12, sector13, sector21 };

// A plain block goes out enciphered. credential is the token, or the device code.
std::string UploadMessage(Dialect dialect, std::string_view credential, Upload upload,
                          BlockView plainBlock);

// Sector 21 of a card without fingerprints, in the token dialect: there is no data in it.
std::string NoFingerprintMessage(std::string_view token);

}  // namespace idcardreader
