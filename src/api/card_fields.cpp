#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include "api/card_blocks.h"
#include "api/engine_use.h"
#include "api/export_support.h"
#include "idcardreader/idcardreader.h"
#include "support/result_items.h"
#include "support/text.h"

// The field exports: the same record as texts and into buffers.

using namespace idcardreader;

namespace {

const char* FieldText(ResultItem item) {
  return Guarded("", [item] {
    const EngineUse engine = UseEngine();
    return SetResultText(engine ? engine->GetResultText(item) : std::string());
  });
}

// As much of the field as the least buffer of its function has room for. The whole field also becomes
// the result text; without an engine nothing changes.
int32_t CopyField(ResultItem item, char* buffer, TextEncoding encoding = TextEncoding::gbk,
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
int32_t CopyFieldAsReceived(ResultItem item, char* buffer,
                            std::size_t size = IDCARDREADER_FIELD_BYTES) {
  return CopyField(item, buffer, TextEncoding::utf8, size);
}

}  // namespace

const char* GetPeopleName() { return FieldText(ResultItem::name); }
const char* GetPeopleSex() { return FieldText(ResultItem::sex); }
const char* GetPeopleNation() { return FieldText(ResultItem::nation); }
const char* GetPeopleBirthday() { return FieldText(ResultItem::birthday); }
const char* GetPeopleAddress() { return FieldText(ResultItem::address); }
const char* GetPeopleIDCode() { return FieldText(ResultItem::id_number); }
const char* GetStartDate() { return FieldText(ResultItem::start_date); }
const char* GetEndDate() { return FieldText(ResultItem::end_date); }
const char* GetDepartment() { return FieldText(ResultItem::issuing_authority); }

int32_t GetNewPeopleName(char* buffer) { return CopyField(ResultItem::name, buffer); }
int32_t GetNewPeopleSex(char* buffer) { return CopyField(ResultItem::sex, buffer); }
int32_t GetNewPeopleNation(char* buffer) { return CopyField(ResultItem::nation, buffer); }
int32_t GetNewPeopleBirthday(char* buffer) {
  return CopyFieldAsReceived(ResultItem::birthday, buffer);
}
int32_t GetNewPeopleAddress(char* buffer) {
  return CopyField(ResultItem::address, buffer, TextEncoding::gbk, IDCARDREADER_LONG_FIELD_BYTES);
}
int32_t GetNewPeopleIDCode(char* buffer) {
  return CopyFieldAsReceived(ResultItem::id_number, buffer);
}
int32_t GetNewStartDate(char* buffer) {
  return CopyFieldAsReceived(ResultItem::start_date, buffer);
}
int32_t GetNewEndDate(char* buffer) { return CopyField(ResultItem::end_date, buffer); }
int32_t GetNewDepartment(char* buffer) { return CopyField(ResultItem::issuing_authority, buffer); }
int32_t GetNewPassNum(char* buffer) {
  return CopyFieldAsReceived(ResultItem::pass_check_id, buffer);
}
int32_t GetNewPeopleNameEn(char* buffer) {
  return CopyFieldAsReceived(ResultItem::name_english, buffer, IDCARDREADER_LONG_FIELD_BYTES);
}
int32_t GetNewPeopleCountryCode(char* buffer) {
  return CopyField(ResultItem::country_code, buffer);
}
int32_t GetNewPeopleCountry(char* buffer) { return CopyField(ResultItem::country, buffer); }

int32_t GetNewCardType() {
  return WithEngine(UseEngine, 0, [](ReaderEngine& engine) {
    return std::atoi(engine.GetResultText(ResultItem::card_type).c_str());
  });
}

int32_t GetNewPhotoRaw(uint8_t* photo, uint32_t* photoLength) {
  return WithEngine(UseEngine, 0, [photo, photoLength](ReaderEngine& engine) {
    return FetchBlock(engine, CardBlock::photo) && CopyBlock(CardBlock::photo, photo, photoLength);
  });
}
