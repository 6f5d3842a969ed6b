#pragma once

#include <cstdint>
#include <string_view>

namespace idcardreader {

// What went wrong in a read; the numbers are shared with hosts and log files. Each failure is
// raised in one place of the code.
enum ERRORT : std::int32_t {
  ERRORT_None = 0,  // no code; as a code given by a host: invalid
  ERRORT_Ok = 1,
  ERRORT_ClientThread = 2,
  ERRORT_SocketInit = 3,
  ERRORT_SendHeartbeat = 7,
  ERRORT_ReceiveHeartbeat = 8,
  ERRORT_SendDn = 9,
  ERRORT_ReceiveDn = 10,
  ERRORT_SendOutputKey = 11,
  ERRORT_ReceiveOutputKey = 12,
  ERRORT_SendSector11 = 13,
  ERRORT_ReceiveSector11 = 14,
  ERRORT_SendSector12 = 15,
  ERRORT_ReceiveSector12 = 16,
  ERRORT_SendSector13 = 17,
  ERRORT_ReceiveSector13 = 18,
  ERRORT_SendSector21 = 19,
  ERRORT_ReceiveSector21 = 20,
  ERRORT_ReceiveContent = 22,
  ERRORT_ReadThread = 26,
  ERRORT_NoReader = 27,
  ERRORT_ReaderNotOpened = 28,
  ERRORT_ServiceLink = 29,
  ERRORT_ReaderAnswer = 30,
  ERRORT_ReaderStatus = 31,  // status bytes 1 to 8 are 32 to 39
  ERRORT_ReadDn = 40,
  ERRORT_ParseInputKey = 44,
  ERRORT_ParseOutputKey = 45,
  ERRORT_ReadTimeout = 46,
  ERRORT_ReaderLost = 47,
  ERRORT_SerialPort = 48,
  ERRORT_SendLogin = 49,
  ERRORT_ReceiveLogin = 50,
  ERRORT_ParseToken = 51,
  ERRORT_Inflate = 55,
  ERRORT_End = 56,
};

// GBK texts that live as long as the library. Any code outside 0 to 56 has the text of code 0.
std::string_view StatusText(std::int32_t code);
// The text of a reader's status byte; empty for 0.
std::string_view DeviceStatusText(std::uint8_t status);

}  // namespace idcardreader
