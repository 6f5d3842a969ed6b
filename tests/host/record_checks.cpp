#include "host/record_checks.h"

#include <gtest/gtest.h>

#include "host/output_buffer.h"

namespace hosttest {
namespace {

using devkit::Bytes;
using devkit::Card;

constexpr int kPort = 1001;

void ExpectField(const FieldRow& row, const std::string& expected, const ShippedLibrary& library) {
  if (row.pointer != nullptr) {
    EXPECT_EQ((library.*row.pointer)(), expected) << row.name;
  }
  OutputBuffer output;
  EXPECT_EQ((library.*row.copy)(output.Text()), expected.empty() ? 0 : 1) << row.name;
  output.ExpectText(expected, row.name);
}

void ExpectPhotoRaw(const Bytes& expected, const ShippedLibrary& library) {
  OutputBuffer photo;
  EXPECT_EQ(library.GetNewPhotoRaw(photo.Data(), &photo.length), expected.empty() ? 0 : 1);
  photo.ExpectBlock(expected, "GetNewPhotoRaw");
}

}  // namespace

// A card has one of the names, or all of them in pieces.
std::string FieldRow::Expected(const Card& card) const {
  std::string text;
  for (const std::string& key : keys) text += inGbk ? Gbk(card.Field(key)) : card.Field(key);
  const std::size_t slash = text.find('/');
  if (part == without_spaces) std::erase(text, ' ');
  if (part == whole || part == without_spaces) return text;
  if (slash == std::string::npos) return "";
  return part == before_slash ? text.substr(0, slash) : text.substr(slash + 1);
}

const std::vector<FieldRow>& FieldRows() {
  using L = ShippedLibrary;
  using R = FieldRow;
  static const std::vector<FieldRow> rows = {
      {"name", &L::GetPeopleName, &L::GetNewPeopleName, {"name", "nameChinese"}, R::without_spaces},
      {"sex", &L::GetPeopleSex, &L::GetNewPeopleSex, {"sex"}},
      {"nation", &L::GetPeopleNation, &L::GetNewPeopleNation, {"nation"}},
      {"birthday", &L::GetPeopleBirthday, &L::GetNewPeopleBirthday, {"birthday"}, R::whole, false},
      {"address", &L::GetPeopleAddress, &L::GetNewPeopleAddress, {"address"}, R::without_spaces},
      {"number", &L::GetPeopleIDCode, &L::GetNewPeopleIDCode, {"id"}, R::whole, false},
      {"valid from", &L::GetStartDate, &L::GetNewStartDate, {"startDate"}, R::whole, false},
      {"valid until", &L::GetEndDate, &L::GetNewEndDate, {"endDate"}},
      {"authority", &L::GetDepartment, &L::GetNewDepartment, {"issue"}, R::without_spaces},
      {"pass number", nullptr, &L::GetNewPassNum, {"passCheckId"}, R::whole, false},
      {"English name",
       nullptr,
       &L::GetNewPeopleNameEn,
       {"nameEnglish", "nameEnglishAdd"},
       R::without_spaces,
       false},
      {"country", nullptr, &L::GetNewPeopleCountry, {"nationlity"}, R::before_slash},
      {"country code", nullptr, &L::GetNewPeopleCountryCode, {"nationlity"}, R::behind_slash}};
  return rows;
}

Bytes ExpectedTextBlock(const Card& card) {
  Bytes block;
  for (char16_t unit : idcardreader::platform::Utf8ToUtf16(card.textBlock)) {
    if (unit == u'_') unit = 0;
    block.insert(block.end(),
                 {static_cast<std::uint8_t>(unit & 0xFF), static_cast<std::uint8_t>(unit >> 8)});
  }
  return block;
}

Bytes ExpectedPhoto(const Card& card) {
  if (!card.image || card.image->size() <= IDCARDREADER_PHOTO_BLOCK_BYTES) return {};
  return {card.image->begin(), card.image->begin() + IDCARDREADER_PHOTO_BLOCK_BYTES};
}

bool ExpectedToSucceed(const Card& card) {
  return card.IsIdentityCard() &&
         (card.typeNumber != IDCARDREADER_CARD_RESIDENT || !ExpectedPhoto(card).empty());
}

void ExpectFieldsOf(const Card& card, const ShippedLibrary& library) {
  EXPECT_EQ(library.GetNewCardType(), card.typeNumber);
  for (const FieldRow& row : FieldRows()) ExpectField(row, row.Expected(card), library);
  EXPECT_EQ(library.readCardGetDN(), devkit::ToHex(card.dn));
}

void ExpectBlocksOf(const Card& card, const ShippedLibrary& library) {
  const Bytes expectedText = ExpectedTextBlock(card);
  const bool held = !expectedText.empty();
  // Without a text block nothing at all is handed out here.
  const Bytes expectedPhoto = held ? ExpectedPhoto(card) : Bytes();
  const int result = held ? IDCARDREADER_SDT_SUCCESS : IDCARDREADER_SDT_NOTHING_READ;
  for (const auto function : {library.SDT_ReadBaseFPMsg, library.SDT_ReadBaseMsgFingerPrint}) {
    OutputBuffer text, photo, fingerprint;
    EXPECT_EQ(function(kPort, text.Data(), &text.length, photo.Data(), &photo.length,
                       fingerprint.Data(), &fingerprint.length),
              result);
    text.ExpectBlock(expectedText, "text with fingerprint");
    photo.ExpectBlock(expectedPhoto, "photo with fingerprint");
    // The service keeps the fingerprint: no answer carries one.
    fingerprint.ExpectBlock({}, "fingerprint");
  }
  OutputBuffer text, photo, alone, fingerprint;
  EXPECT_EQ(library.SDT_ReadBaseMsg(kPort, text.Data(), &text.length, photo.Data(), &photo.length),
            result);
  text.ExpectBlock(expectedText, "text of SDT_ReadBaseMsg");
  photo.ExpectBlock(expectedPhoto, "photo of SDT_ReadBaseMsg");
  EXPECT_EQ(library.Routon_ReadBaseMsg(alone.Data(), &alone.length), held ? 1 : 0);
  alone.ExpectBlock(expectedText, "Routon_ReadBaseMsg");
  EXPECT_EQ(library.SDT_ReadFPMsg(kPort, fingerprint.Data(), &fingerprint.length),
            IDCARDREADER_SDT_NO_FINGERPRINT);
  fingerprint.ExpectBlock({}, "SDT_ReadFPMsg");
}

void ExpectRecordOf(const Card& card, const ShippedLibrary& library) {
  SCOPED_TRACE("card " + card.label);
  ExpectFieldsOf(card, library);
  ExpectBlocksOf(card, library);
  ExpectPhotoRaw(ExpectedPhoto(card), library);
  EXPECT_STREQ(library.readCardGetLastError(), "");
}

void ExpectNoFields(const ShippedLibrary& library) {
  EXPECT_EQ(library.GetNewCardType(), IDCARDREADER_CARD_NONE);
  for (const FieldRow& row : FieldRows()) ExpectField(row, "", library);
  ExpectPhotoRaw({}, library);
}

}  // namespace hosttest
