#include "api/record_checks.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "api/expected_record.h"

namespace apitest {
namespace {

using devkit::Bytes;

constexpr std::uint8_t kUntouched = 0xEE;
constexpr std::uint32_t kLengthUntouched = 0xABCD1234;
constexpr std::size_t kRoom = 4096;  // more than anything takes, to see what is written beyond
constexpr int kPort = 1001;

// A buffer that shows which of its bytes were written.
struct Output {
  Bytes bytes = Bytes(kRoom, kUntouched);
  std::uint32_t length = kLengthUntouched;

  char* Text() { return reinterpret_cast<char*>(bytes.data()); }

  void ExpectUntouched(const std::string& what) const {
    EXPECT_EQ(length, kLengthUntouched) << what;
    EXPECT_EQ(Written(), 0u) << what;
  }
  // Exactly these bytes, and nothing behind them.
  void ExpectBytes(const Bytes& expected, const std::string& what) const {
    EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(expected.size())),
              expected)
        << what;
    EXPECT_EQ(Written(), expected.size()) << what;
  }
  void ExpectBlock(const Bytes& expected, const std::string& what) const {
    if (expected.empty()) return ExpectUntouched(what);
    EXPECT_EQ(length, expected.size()) << what;
    ExpectBytes(expected, what);
  }
  // Up to the last byte that is not as it was.
  std::size_t Written() const {
    const auto last = std::find_if(bytes.rbegin(), bytes.rend(),
                                   [](std::uint8_t byte) { return byte != kUntouched; });
    return static_cast<std::size_t>(bytes.rend() - last);
  }
};

void ExpectField(const FieldRow& row, const std::string& expected, const ShippedLibrary& library) {
  if (row.pointer != nullptr) {
    const char* const text = (library.*row.pointer)();
    ASSERT_NE(text, nullptr) << row.name;
    EXPECT_EQ(std::string(text), expected) << row.name;
  }
  Output output;
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
    Output textOutput, photoOutput;
    EXPECT_EQ(library.SDT_ReadBaseMsg(kPort, textOutput.bytes.data(), &textOutput.length,
                                      photoOutput.bytes.data(), &photoOutput.length),
              result);
    textOutput.ExpectBlock(text, "text of SDT_ReadBaseMsg");
    photoOutput.ExpectBlock(photo, "photo of SDT_ReadBaseMsg");
  }
  for (const auto read : {library.SDT_ReadBaseFPMsg, library.SDT_ReadBaseMsgFingerPrint}) {
    Output textOutput, photoOutput, fingerprintOutput;
    EXPECT_EQ(read(kPort, textOutput.bytes.data(), &textOutput.length, photoOutput.bytes.data(),
                   &photoOutput.length, fingerprintOutput.bytes.data(), &fingerprintOutput.length),
              result);
    textOutput.ExpectBlock(text, "text of SDT_ReadBaseFPMsg");
    photoOutput.ExpectBlock(photo, "photo of SDT_ReadBaseFPMsg");
    fingerprintOutput.ExpectUntouched("fingerprint of SDT_ReadBaseFPMsg");
  }
  // The service keeps the fingerprint: no answer carries one.
  Output fingerprint;
  EXPECT_EQ(library.SDT_ReadFPMsg(kPort, fingerprint.bytes.data(), &fingerprint.length),
            IDCARDREADER_SDT_NO_FINGERPRINT);
  fingerprint.ExpectUntouched("SDT_ReadFPMsg");
}

void ExpectPhotoRaw(const Bytes& expected, const ShippedLibrary& library) {
  Output photo;
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
  Output text, photo, fingerprint;
  Blocks blocks;
  blocks.result =
      library.SDT_ReadBaseFPMsg(kPort, text.bytes.data(), &text.length, photo.bytes.data(),
                                &photo.length, fingerprint.bytes.data(), &fingerprint.length);
  const auto taken = [](const Output& output) {
    return output.length == kLengthUntouched
               ? Bytes()
               : Bytes(output.bytes.begin(), output.bytes.begin() + output.length);
  };
  blocks.text = taken(text);
  blocks.photo = taken(photo);
  blocks.fingerprint = taken(fingerprint);
  return blocks;
}

}  // namespace apitest
