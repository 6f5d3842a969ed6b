#include <algorithm>
#include <string_view>

#include "api/card_blocks.h"
#include "api/engine_use.h"
#include "api/export_support.h"
#include "api/photo_decoders.h"
#include "idcardreader/idcardreader.h"
#include "platform/files.h"

// The older hosts' interfaces: open, find, read into files, close; and that of another reader
// maker.

using namespace idcardreader;

namespace {

constexpr std::string_view kSerialNumber = "0123456789123456";
constexpr char kTextFileName[] = "WZ.TXT";
constexpr char kPhotoFileName[] = "ZP.WLT";

enum ReadContentMode : int32_t { kFilesAndBitmap = 1, kFiles = 2 };

void WriteContentFiles(int32_t mode) {
  ReplaceBlockFile(CardBlock::text, kTextFileName);
  if (ReplaceBlockFile(CardBlock::photo, kPhotoFileName) &&
      platform::AnsiFileExists(kPhotoFileName) && mode == kFilesAndBitmap) {
    DecodePhotoFile(kPhotoFileName);
  }
}

int32_t SoundReader(int32_t milliseconds) {
  return WithEngine(UseEngine, 1, [milliseconds](ReaderEngine& engine) {
    engine.Beep(static_cast<std::uint32_t>(milliseconds));
    return 1;
  });
}

}  // namespace

int32_t InitComm(int32_t) { return 1; }
int32_t Routon_IC_FindCard() { return 1; }
int32_t Routon_Set210Update() { return 1; }
int32_t Routon_SetNewVersion() { return 1; }
int32_t Routon_StartFindIDCard() { return 1; }

int32_t CloseComm() {
  return Guarded(1, [] {
    DestroyEngine();
    return 1;
  });
}

// Hosts of this interface go on to Read_Content whatever is returned here.
int32_t Authenticate() {
  FindCard();
  return 0;
}

int32_t Read_Content(int32_t mode) {
  if (!ReadCardBlocking()) {
    return 0;
  }
  return Guarded(1, [mode] {
    if (mode == kFilesAndBitmap || mode == kFiles) {
      WriteContentFiles(mode);
    }
    return 1;
  });
}

int32_t ReadIINSNDN(char* serialNumber) {
  if (serialNumber != nullptr) {
    std::copy(kSerialNumber.begin(), kSerialNumber.end(), serialNumber);
  }
  return 1;
}

uintptr_t dewlt(uintptr_t argument) {
  return Guarded(uintptr_t{0}, [argument] { return CallDewlt(argument); });
}

int32_t HID_BeepLED(int32_t, int32_t, int32_t milliseconds) { return SoundReader(milliseconds); }
int32_t Routon_BeepLED(int32_t, int32_t, int32_t milliseconds) { return SoundReader(milliseconds); }

int32_t Routon_Get210Version(char* version) {
  if (version != nullptr) {
    *version = '1';
  }
  return 1;
}

int32_t Routon_ReadBaseMsg(uint8_t* text, uint32_t* textLength) {
  return Guarded(0, [text, textLength] {
    if (!HoldsBlock(CardBlock::text)) {
      return 0;
    }
    CopyBlock(CardBlock::text, text, textLength);
    return 1;
  });
}
