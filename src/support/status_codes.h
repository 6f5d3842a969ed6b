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

// The items of a read and the commands, settings and events of the service link, in one numbering.
enum Item : std::int32_t {
  kItemExit = 2,
  kItemHeartbeat = 3,
  kItemDn = 5,
  kItemInputKey = 6,
  kItemOutputKey = 7,
  kItemSector11 = 8,
  kItemSector12 = 9,
  kItemSector13 = 10,
  kItemSector21 = 11,
  kItemDnAnswer = 12,
  kItemInputKeyAnswer = 13,
  kItemLogin = 14,
  kItemServer1 = 19,
  kItemSocketTimeout = 21,
  kItemLogSwitch = 22,
  kItemDeviceCode = 23,
  kItemServer2 = 24,
  kItemHost1 = 26,
  kItemHost2 = 27,
  kItemTextBlock = 28,
  kItemPhotoBlock = 29,
  kItemFingerprintBlock = 30,
  kItemIdNumber = 32,
  kItemAddress = 33,
  kItemIssuingAuthority = 34,
  kItemName = 35,
  kItemNation = 36,
  kItemSex = 37,
  kItemBirthday = 38,
  kItemStartDate = 39,
  kItemEndDate = 40,
  kItemCardType = 41,
  kItemPassCheckId = 42,
  kItemNameEnglish = 43,
  kItemCountry = 44,
  kItemCountryCode = 45,
  kItemSuccess = 50,
  kItemFail = 51,
  kItemDone = 53,
  kItemStop = 54,
};
inline constexpr std::int32_t kFirstResultItem = kItemTextBlock;
inline constexpr std::int32_t kLastResultItem = kItemCountryCode;

// GBK texts that live as long as the library. Any code outside 0 to 56 has the text of code 0.
std::string_view StatusText(std::int32_t code);
// Empty outside 1 to 54.
std::string_view ItemLabel(std::int32_t item);
// The text of a reader's status byte; empty for 0.
std::string_view DeviceStatusText(std::uint8_t status);

}  // namespace idcardreader
