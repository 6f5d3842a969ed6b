#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include "api/card_block_buffers.h"
#include "api/engine_use.h"
#include "api/export_guard.h"
#include "api/result_text.h"
#include "idcardreader/idcardreader.h"
#include "support/status_codes.h"
#include "support/text_cut.h"

// The field exports: the same record as texts and into buffers.

using namespace idcardreader;

namespace {

const char* FieldText(std::int32_t item) {
  return Guarded("", [item] {
    const EngineUse engine = UseEngine();
    return SetResultText(engine ? engine->GetResultText(item) : std::string());
  });
}

// As much of the field as the least buffer of its function has room for. The whole field also becomes
// the result text; without an engine nothing changes.
int32_t CopyField(std::int32_t item, char* buffer, TextEncoding encoding = TextEncoding::gbk,
                  std::size_t size = IDCARDREADER_FIELD_BYTES) {
  return Guarded(0, [item, buffer, encoding, size] {
    const EngineUse engine = UseEngine();
    if (!engine) {
      return 0;
    }
    const std::string field = engine->GetResultText(item);
    SetResultText(field);
    // The zero byte behind it is the host's.
    const std::string_view cut = CutText(field, size - 1, encoding);
    std::copy(cut.begin(), cut.end(), buffer);
    return field.empty() ? 0 : 1;
  });
}

// A field that is handed on as the service sent it.
int32_t CopyFieldAsReceived(std::int32_t item, char* buffer,
                            std::size_t size = IDCARDREADER_FIELD_BYTES) {
  return CopyField(item, buffer, TextEncoding::utf8, size);
}

}  // namespace

const char* GetPeopleName() { return FieldText(kItemName); }
const char* GetPeopleSex() { return FieldText(kItemSex); }
const char* GetPeopleNation() { return FieldText(kItemNation); }
const char* GetPeopleBirthday() { return FieldText(kItemBirthday); }
const char* GetPeopleAddress() { return FieldText(kItemAddress); }
const char* GetPeopleIDCode() { return FieldText(kItemIdNumber); }
const char* GetStartDate() { return FieldText(kItemStartDate); }
const char* GetEndDate() { return FieldText(kItemEndDate); }
const char* GetDepartment() { return FieldText(kItemIssuingAuthority); }

int32_t GetNewPeopleName(char* buffer) { return CopyField(kItemName, buffer); }
int32_t GetNewPeopleSex(char* buffer) { return CopyField(kItemSex, buffer); }
int32_t GetNewPeopleNation(char* buffer) { return CopyField(kItemNation, buffer); }
int32_t GetNewPeopleBirthday(char* buffer) { return CopyFieldAsReceived(kItemBirthday, buffer); }
int32_t GetNewPeopleAddress(char* buffer) {
  return CopyField(kItemAddress, buffer, TextEncoding::gbk, IDCARDREADER_LONG_FIELD_BYTES);
}
int32_t GetNewPeopleIDCode(char* buffer) { return CopyFieldAsReceived(kItemIdNumber, buffer); }
int32_t GetNewStartDate(char* buffer) { return CopyFieldAsReceived(kItemStartDate, buffer); }
int32_t GetNewEndDate(char* buffer) { return CopyField(kItemEndDate, buffer); }
int32_t GetNewDepartment(char* buffer) { return CopyField(kItemIssuingAuthority, buffer); }
int32_t GetNewPassNum(char* buffer) { return CopyFieldAsReceived(kItemPassCheckId, buffer); }
int32_t GetNewPeopleNameEn(char* buffer) {
  return CopyFieldAsReceived(kItemNameEnglish, buffer, IDCARDREADER_LONG_FIELD_BYTES);
}
int32_t GetNewPeopleCountryCode(char* buffer) { return CopyField(kItemCountryCode, buffer); }
int32_t GetNewPeopleCountry(char* buffer) { return CopyField(kItemCountry, buffer); }

int32_t GetNewCardType() {
  return Guarded(0, [] {
    const EngineUse engine = UseEngine();
    return engine ? std::atoi(engine->GetResultText(kItemCardType).c_str()) : 0;
  });
}

int32_t GetNewPhotoRaw(uint8_t* photo, uint32_t* photoLength) {
  return Guarded(0, [photo, photoLength] {
    const EngineUse engine = UseEngine();
    if (!engine || !FetchBlock(*engine.operator->(), CardBlock::photo)) {
      return 0;
    }
    return CopyBlock(CardBlock::photo, photo, photoLength) ? 1 : 0;
  });
}
