#include <algorithm>
#include <cstring>
#include <string_view>

#include "api/card_blocks.h"
#include "api/engine_use.h"
#include "api/export_support.h"
#include "idcardreader/idcardreader.h"

// The SDT_* family: a thin face over the card search, the blocking read and the blocks that it
// brought. There is no security module here, so what would ask one answers with fixed values. The
// port number is of no use, since a process has one reader.

using namespace idcardreader;

namespace {

constexpr std::string_view kSecurityModuleId = "0123456789123456";
constexpr std::string_view kCardSerial = "0123456789123456789012345678";
constexpr std::string_view kManagement = "01234567891234567890123456780123456789123456789012345678";
constexpr std::string_view kManagementWord = "0123";
constexpr std::string_view kErrorString = "@";
constexpr std::uint32_t kBaudRate = 115200;

// Placeholders have no terminating zero.
int32_t Placeholder(std::string_view placeholder, void* buffer) {
  if (buffer != nullptr) {
    std::memcpy(buffer, placeholder.data(), placeholder.size());
  }
  return IDCARDREADER_SDT_SUCCESS;
}

}  // namespace

int32_t SDT_OpenPort(int32_t) { return IDCARDREADER_SDT_SUCCESS; }
int32_t SDT_ClosePort(int32_t) { return IDCARDREADER_SDT_SUCCESS; }
int32_t SDT_ResetSAM(int32_t) { return IDCARDREADER_SDT_SUCCESS; }
int32_t SDT_GetSAMStatus(int32_t) { return IDCARDREADER_SDT_SUCCESS; }
int32_t SDT_SetMaxRFByte(int32_t) { return IDCARDREADER_SDT_SUCCESS; }
int32_t SDT_SetCOMBaud(int32_t) { return IDCARDREADER_SDT_SUCCESS; }

int32_t SDT_GetCOMBaud(int32_t, uint32_t* baudRate) {
  if (baudRate != nullptr) {
    *baudRate = kBaudRate;
  }
  return IDCARDREADER_SDT_SUCCESS;
}

int32_t SDT_GetErrorString(int32_t, char* text) { return Placeholder(kErrorString, text); }

int32_t SDT_GetSAMID(int32_t, uint8_t* id) { return Placeholder(kSecurityModuleId, id); }
int32_t SDT_GetSAMIDToStr(int32_t, char* id) { return Placeholder(kSecurityModuleId, id); }

int32_t SDT_StartFindIDCard(int32_t, uint8_t* managementInformation) {
  const bool found = FindCard();
  Placeholder(kManagementWord, managementInformation);
  return found ? IDCARDREADER_SDT_CARD_FOUND : IDCARDREADER_SDT_NO_CARD;
}

int32_t SDT_SelectIDCard(int32_t, uint8_t* managementInformation) {
  Placeholder(kManagementWord, managementInformation);
  return ReadCardBlocking() ? IDCARDREADER_SDT_SUCCESS : IDCARDREADER_SDT_NOT_SELECTED;
}

int32_t SDT_ReadBaseMsg(int32_t, uint8_t* text, uint32_t* textLength, uint8_t* photo,
                        uint32_t* photoLength) {
  return Guarded(IDCARDREADER_SDT_NOTHING_READ, [=] {
    if (!HoldsBlock(CardBlock::text)) {
      return IDCARDREADER_SDT_NOTHING_READ;
    }
    CopyBlock(CardBlock::text, text, textLength);
    CopyBlock(CardBlock::photo, photo, photoLength);
    return IDCARDREADER_SDT_SUCCESS;
  });
}

int32_t SDT_ReadBaseFPMsg(int32_t port, uint8_t* text, uint32_t* textLength, uint8_t* photo,
                          uint32_t* photoLength, uint8_t* fingerprint,
                          uint32_t* fingerprintLength) {
  return Guarded(IDCARDREADER_SDT_NOTHING_READ, [=] {
    if (!UseEngine() ||
        SDT_ReadBaseMsg(port, text, textLength, photo, photoLength) != IDCARDREADER_SDT_SUCCESS) {
      return IDCARDREADER_SDT_NOTHING_READ;
    }
    CopyBlock(CardBlock::fingerprint, fingerprint, fingerprintLength);
    return IDCARDREADER_SDT_SUCCESS;
  });
}

int32_t SDT_ReadBaseMsgFingerPrint(int32_t port, uint8_t* text, uint32_t* textLength,
                                   uint8_t* photo, uint32_t* photoLength, uint8_t* fingerprint,
                                   uint32_t* fingerprintLength) {
  return SDT_ReadBaseFPMsg(port, text, textLength, photo, photoLength, fingerprint,
                           fingerprintLength);
}

// A file that cannot be written is passed over, as hosts of this interface expect.
int32_t SDT_ReadBaseMsgToFile(int32_t, const char* textFileName, uint32_t* textLength,
                              const char* photoFileName, uint32_t* photoLength) {
  return Guarded(IDCARDREADER_SDT_NOTHING_READ, [=] {
    if (!UseEngine() || !HoldsBlock(CardBlock::text)) {
      return IDCARDREADER_SDT_NOTHING_READ;
    }
    WriteBlockFile(CardBlock::text, textFileName, textLength);
    WriteBlockFile(CardBlock::photo, photoFileName, photoLength);
    return IDCARDREADER_SDT_SUCCESS;
  });
}

int32_t SDT_ReadBaseFPMsgToFile(int32_t port, const char* textFileName, uint32_t* textLength,
                                const char* photoFileName, uint32_t* photoLength,
                                const char* fingerprintFileName, uint32_t* fingerprintLength) {
  return Guarded(IDCARDREADER_SDT_NOTHING_READ, [=] {
    const int32_t result =
        SDT_ReadBaseMsgToFile(port, textFileName, textLength, photoFileName, photoLength);
    if (result == IDCARDREADER_SDT_SUCCESS) {
      WriteBlockFile(CardBlock::fingerprint, fingerprintFileName, fingerprintLength);
    }
    return result;
  });
}

int32_t SDT_ReadFPMsg(int32_t, uint8_t* fingerprint, uint32_t* fingerprintLength) {
  return Guarded(IDCARDREADER_SDT_NO_FINGERPRINT, [=] {
    if (!HoldsBlock(CardBlock::fingerprint)) {
      return IDCARDREADER_SDT_NO_FINGERPRINT;
    }
    CopyBlock(CardBlock::fingerprint, fingerprint, fingerprintLength);
    return IDCARDREADER_SDT_SUCCESS;
  });
}

int32_t SDT_ReadIINSNDN(int32_t, uint8_t* serial) { return Placeholder(kCardSerial, serial); }

int32_t SDT_ReadIINSNDNToASCII(int32_t, uint8_t* management) {
  return Placeholder(kManagement, management);
}

int32_t SDT_ReadMngInfo(int32_t, uint8_t* management) {
  return Placeholder(kManagement, management);
}

int32_t SDT_ReadNewAppMsg(int32_t) { return IDCARDREADER_SDT_NO_FINGERPRINT; }
