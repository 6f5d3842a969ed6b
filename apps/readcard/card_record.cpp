#include "card_record.h"

#include "text_encoding.h"

namespace readcard {
namespace {

enum class Encoding { gbk, utf8 };

// Each field and how it is fetched: as a pointer where the library offers that, since a pointer
// bounds itself, else into a buffer.
struct FieldSource {
  const char* key;
  const char* label;
  Encoding encoding;
  decltype(&::GetPeopleName) HostLibrary::*pointer;
  decltype(&::GetNewPassNum) HostLibrary::*buffer;
};

constexpr FieldSource kFieldSources[] = {
    {"name", "Name", Encoding::gbk, &HostLibrary::GetPeopleName, nullptr},
    {"englishName", "English name", Encoding::utf8, nullptr, &HostLibrary::GetNewPeopleNameEn},
    {"sex", "Sex", Encoding::gbk, &HostLibrary::GetPeopleSex, nullptr},
    {"nation", "Nation", Encoding::gbk, &HostLibrary::GetPeopleNation, nullptr},
    {"country", "Country", Encoding::gbk, nullptr, &HostLibrary::GetNewPeopleCountry},
    {"countryCode", "Country code", Encoding::gbk, nullptr, &HostLibrary::GetNewPeopleCountryCode},
    {"birthday", "Date of birth", Encoding::utf8, &HostLibrary::GetPeopleBirthday, nullptr},
    {"address", "Address", Encoding::gbk, &HostLibrary::GetPeopleAddress, nullptr},
    {"idNumber", "Number", Encoding::utf8, &HostLibrary::GetPeopleIDCode, nullptr},
    {"passNumber", "Pass number", Encoding::utf8, nullptr, &HostLibrary::GetNewPassNum},
    {"authority", "Issued by", Encoding::gbk, &HostLibrary::GetDepartment, nullptr},
    {"validFrom", "Valid from", Encoding::utf8, &HostLibrary::GetStartDate, nullptr},
    {"validUntil", "Valid until", Encoding::gbk, &HostLibrary::GetEndDate, nullptr},
};

// The library does not bound what it copies, so the buffer takes more than any answer of a service
// that is not broken.
constexpr std::size_t kFieldBufferBytes = 64 * 1024;

std::string Fetch(const HostLibrary& library, const FieldSource& source) {
  std::string text;
  if (source.pointer != nullptr) {
    text = (library.*source.pointer)();
  } else {
    std::vector<char> buffer(kFieldBufferBytes);
    if ((library.*source.buffer)(buffer.data()) != 0) text = buffer.data();
  }
  return source.encoding == Encoding::gbk ? GbkToUtf8(text) : text;
}

struct BlockBuffer {
  explicit BlockBuffer(std::size_t capacity) : bytes(capacity) {}
  std::vector<std::uint8_t> Taken() const {
    const std::size_t taken = length < bytes.size() ? length : bytes.size();
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(taken)};
  }
  std::vector<std::uint8_t> bytes;
  std::uint32_t length = 0;
};

}  // namespace

const std::string& CardRecord::Field(const std::string& key) const {
  static const std::string kNone;
  for (const CardField& field : fields) {
    if (key == field.key) return field.text;
  }
  return kNone;
}

CardRecord FetchCardRecord(const HostLibrary& library) {
  CardRecord record;
  FetchFields(library, record);
  record.dn = library.readCardGetDN();
  FetchBlocks(library, record);
  // A card without a text block yields its photo this way only.
  if (record.photo.empty()) FetchRawPhoto(library, record);
  return record;
}

void FetchFields(const HostLibrary& library, CardRecord& record) {
  record.type = library.GetNewCardType();
  for (const FieldSource& source : kFieldSources) {
    record.fields.push_back({source.key, source.label, Fetch(library, source)});
  }
}

void FetchBlocks(const HostLibrary& library, CardRecord& record) {
  BlockBuffer text(IDCARDREADER_TEXT_BLOCK_BYTES);
  BlockBuffer photo(IDCARDREADER_PHOTO_BLOCK_BYTES);
  BlockBuffer fingerprint(IDCARDREADER_FINGERPRINT_BLOCK_BYTES);
  constexpr int kAnyPort = 1001;
  library.SDT_ReadBaseFPMsg(kAnyPort, text.bytes.data(), &text.length, photo.bytes.data(),
                            &photo.length, fingerprint.bytes.data(), &fingerprint.length);
  record.text = text.Taken();
  record.photo = photo.Taken();
  record.fingerprint = fingerprint.Taken();
}

void FetchRawPhoto(const HostLibrary& library, CardRecord& record) {
  BlockBuffer photo(IDCARDREADER_PHOTO_BLOCK_BYTES);
  library.GetNewPhotoRaw(photo.bytes.data(), &photo.length);
  record.photo = photo.Taken();
}

const char* CardTypeName(int type) {
  switch (type) {
    case IDCARDREADER_CARD_RESIDENT:
      return "resident identity card";
    case IDCARDREADER_CARD_RESIDENCE_PERMIT:
      return "residence permit for Hong Kong, Macao and Taiwan residents";
    case IDCARDREADER_CARD_PERMANENT_OLD:
      return "permanent residence card for foreigners, old format";
    case IDCARDREADER_CARD_PERMANENT_NEW:
      return "permanent residence card for foreigners, new format";
    default:
      return "card of unknown type";
  }
}

}  // namespace readcard
