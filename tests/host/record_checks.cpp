#include "host/record_checks.h"

#include <gtest/gtest.h>

#include "host/expected_record.h"
#include "host/output_buffer.h"

namespace hosttest {
namespace {

using devkit::Bytes;

constexpr int kPort = 1001;

void ExpectField(const FieldRow& row, const std::string& expected, const ShippedLibrary& library) {
  if (row.pointer != nullptr) {
    const char* const text = (library.*row.pointer)();
    ASSERT_NE(text, nullptr) << row.name;
    EXPECT_EQ(std::string(text), expected) << row.name;
  }
  OutputBuffer output;
  EXPECT_EQ((library.*row.copy)(output.Text()), expected.empty() ? 0 : 1) << row.name;
  output.ExpectBytes(Bytes(expected.begin(), expected.end()), row.name);
}

void ExpectBlocksOf(const devkit::Card& card, const ShippedLibrary& library) {
  const Bytes text = ExpectedTextBlock(card);
  const bool held = !text.empty();
  // Without a text block nothing at all is handed out here.
  const Bytes photo = held ? ExpectedPhoto(card) : Bytes();
  const int result = held ? IDCARDREADER_SDT_SUCCESS : IDCARDREADER_SDT_NOTHING_READ;
  {
    OutputBuffer textOutput, photoOutput;
    EXPECT_EQ(library.SDT_ReadBaseMsg(kPort, textOutput.bytes.data(), &textOutput.length,
                                      photoOutput.bytes.data(), &photoOutput.length),
              result);
    textOutput.ExpectBlock(text, "text of SDT_ReadBaseMsg");
    photoOutput.ExpectBlock(photo, "photo of SDT_ReadBaseMsg");
  }
  for (const auto read : {library.SDT_ReadBaseFPMsg, library.SDT_ReadBaseMsgFingerPrint}) {
    OutputBuffer textOutput, photoOutput, fingerprintOutput;
    EXPECT_EQ(read(kPort, textOutput.bytes.data(), &textOutput.length, photoOutput.bytes.data(),
                   &photoOutput.length, fingerprintOutput.bytes.data(), &fingerprintOutput.length),
              result);
    textOutput.ExpectBlock(text, "text of SDT_ReadBaseFPMsg");
    photoOutput.ExpectBlock(photo, "photo of SDT_ReadBaseFPMsg");
    fingerprintOutput.ExpectUntouched("fingerprint of SDT_ReadBaseFPMsg");
  }
  {
    OutputBuffer textOutput;
    EXPECT_EQ(library.Routon_ReadBaseMsg(textOutput.bytes.data(), &textOutput.length),
              held ? 1 : 0);
    textOutput.ExpectBlock(text, "Routon_ReadBaseMsg");
  }
  // The service keeps the fingerprint: no answer carries one.
  OutputBuffer fingerprint;
  EXPECT_EQ(library.SDT_ReadFPMsg(kPort, fingerprint.bytes.data(), &fingerprint.length),
            IDCARDREADER_SDT_NO_FINGERPRINT);
  fingerprint.ExpectUntouched("SDT_ReadFPMsg");
}

void ExpectPhotoRaw(const Bytes& expected, const ShippedLibrary& library) {
  OutputBuffer photo;
  EXPECT_EQ(library.GetNewPhotoRaw(photo.bytes.data(), &photo.length), expected.empty() ? 0 : 1);
  photo.ExpectBlock(expected, "GetNewPhotoRaw");
}

}  // namespace

void ExpectFieldsOf(const devkit::Card& card, const ShippedLibrary& library) {
  EXPECT_EQ(library.GetNewCardType(), ExpectedType(card));
  for (const FieldRow& row : FieldRows()) ExpectField(row, row.expected(card), library);
  EXPECT_EQ(library.readCardGetDN(), devkit::ToHex(card.dn));
}

void ExpectRecordOf(const devkit::Card& card, const ShippedLibrary& library) {
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

void ExpectNoBlocks(const ShippedLibrary& library) {
  devkit::Card none;
  none.type = devkit::CardType::type_a;
  ExpectBlocksOf(none, library);
}

void ExpectNoRecord(const ShippedLibrary& library) {
  ExpectNoFields(library);
  ExpectNoBlocks(library);
}

Blocks FetchBlocks(const ShippedLibrary& library) {
  OutputBuffer text, photo, fingerprint;
  Blocks blocks;
  blocks.result =
      library.SDT_ReadBaseFPMsg(kPort, text.bytes.data(), &text.length, photo.bytes.data(),
                                &photo.length, fingerprint.bytes.data(), &fingerprint.length);
  const auto taken = [](const OutputBuffer& output) {
    return output.LengthUntouched()
               ? Bytes()
               : Bytes(output.bytes.begin(), output.bytes.begin() + output.length);
  };
  blocks.text = taken(text);
  blocks.photo = taken(photo);
  blocks.fingerprint = taken(fingerprint);
  return blocks;
}

}  // namespace hosttest
