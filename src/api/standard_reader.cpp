#include "api/card_block_buffers.h"
#include "api/engine_use.h"
#include "idcardreader/idcardreader.h"

// The SDT_* family: a thin face over the blocks that the last read brought. The port number is of
// no use, since a process has one reader.

using namespace idcardreader;

int32_t SDT_ReadBaseMsg(int32_t, uint8_t* text, uint32_t* textLength, uint8_t* photo,
                        uint32_t* photoLength) {
  if (!HoldsBlock(CardBlock::text)) {
    return IDCARDREADER_SDT_NOTHING_READ;
  }
  CopyBlock(CardBlock::text, text, textLength);
  CopyBlock(CardBlock::photo, photo, photoLength);
  return IDCARDREADER_SDT_SUCCESS;
}

int32_t SDT_ReadBaseFPMsg(int32_t port, uint8_t* text, uint32_t* textLength, uint8_t* photo,
                          uint32_t* photoLength, uint8_t* fingerprint,
                          uint32_t* fingerprintLength) {
  if (!UseEngine() ||
      SDT_ReadBaseMsg(port, text, textLength, photo, photoLength) != IDCARDREADER_SDT_SUCCESS) {
    return IDCARDREADER_SDT_NOTHING_READ;
  }
  CopyBlock(CardBlock::fingerprint, fingerprint, fingerprintLength);
  return IDCARDREADER_SDT_SUCCESS;
}

int32_t SDT_ReadBaseMsgFingerPrint(int32_t port, uint8_t* text, uint32_t* textLength,
                                   uint8_t* photo, uint32_t* photoLength, uint8_t* fingerprint,
                                   uint32_t* fingerprintLength) {
  return SDT_ReadBaseFPMsg(port, text, textLength, photo, photoLength, fingerprint,
                           fingerprintLength);
}

int32_t SDT_ReadFPMsg(int32_t, uint8_t* fingerprint, uint32_t* fingerprintLength) {
  if (!HoldsBlock(CardBlock::fingerprint)) {
    return IDCARDREADER_SDT_NO_FINGERPRINT;
  }
  CopyBlock(CardBlock::fingerprint, fingerprint, fingerprintLength);
  return IDCARDREADER_SDT_SUCCESS;
}
