#include "platform/code_page.h"

#include <array>
#include <cstddef>
#include <cstdint>

// The tables are part of the library, not the system's converters: a kiosk's image may come without
// them, and the system's GBK refuses the user-defined characters that old cards carry.

namespace idcardreader::platform {

namespace {

constexpr char16_t kReplacement = 0xFFFD;
constexpr char kUnknown = '?';

constexpr unsigned kFirstLead = 0x81;
constexpr unsigned kLastLead = 0xFE;
constexpr unsigned kFirstTrail = 0x40;
constexpr unsigned kLastTrail = 0xFE;
constexpr unsigned kNoTrail = 0x7F;
constexpr std::size_t kCellsPerLead = 190;
constexpr std::size_t kCells = (kLastLead - kFirstLead + 1) * kCellsPerLead;

// Windows extends GBK's single bytes by the euro sign and, so that every byte means something, by a
// private character.
constexpr unsigned char kEuroByte = 0x80;
constexpr char16_t kEuro = 0x20AC;
constexpr unsigned char kLastByte = 0xFF;
constexpr char16_t kLastByteCharacter = 0xF8F5;

constexpr char16_t kChart[] =
#include "platform/posix/gbk_chart.inc"
    ;
static_assert(sizeof(kChart) / sizeof(char16_t) == kCells + 1);

constexpr bool IsLead(unsigned byte) { return byte >= kFirstLead && byte <= kLastLead; }

constexpr bool IsTrail(unsigned byte) {
  return byte >= kFirstTrail && byte <= kLastTrail && byte != kNoTrail;
}

constexpr std::size_t CellIndex(unsigned lead, unsigned trail) {
  return (lead - kFirstLead) * kCellsPerLead + trail - kFirstTrail - (trail > kNoTrail ? 1 : 0);
}

struct Tables {
  std::array<char16_t, kCells> characters{};   // by cell
  std::array<std::uint16_t, 0x10000> codes{};  // by character; 0 for what GBK cannot hold
};

// Hands out consecutive characters to the cells of a rectangle in reading order.
constexpr void Lend(Tables& tables, unsigned firstLead, unsigned lastLead, unsigned firstTrail,
                    unsigned lastTrail, char16_t& next) {
  for (unsigned lead = firstLead; lead <= lastLead; ++lead) {
    for (unsigned trail = firstTrail; trail <= lastTrail; ++trail) {
      if (trail != kNoTrail) tables.characters[CellIndex(lead, trail)] = next++;
    }
  }
}

constexpr Tables MakeTables() {
  Tables tables;
  // The three user-defined areas come first, every other unassigned cell follows in code order.
  char16_t next = 0xE000;
  Lend(tables, 0xAA, 0xAF, 0xA1, 0xFE, next);
  Lend(tables, 0xF8, 0xFE, 0xA1, 0xFE, next);
  Lend(tables, 0xA1, 0xA7, 0x40, 0xA0, next);
  for (std::size_t cell = 0; cell < kCells; ++cell) {
    char16_t& character = tables.characters[cell];
    if (kChart[cell] != u'.') {
      character = kChart[cell];
    } else if (character == 0) {
      character = next++;
    }
  }
  for (unsigned byte = 0; byte < 0x80; ++byte) {
    tables.codes[byte] = static_cast<std::uint16_t>(byte);
  }
  tables.codes[kEuro] = kEuroByte;
  tables.codes[kLastByteCharacter] = kLastByte;
  std::size_t cell = 0;
  for (unsigned lead = kFirstLead; lead <= kLastLead; ++lead) {
    for (unsigned trail = kFirstTrail; trail <= kLastTrail; ++trail) {
      if (trail == kNoTrail) continue;
      tables.codes[tables.characters[cell++]] = static_cast<std::uint16_t>(lead << 8 | trail);
    }
  }
  return tables;
}

constexpr Tables kTables = MakeTables();

constexpr bool IsHighSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool IsLowSurrogate(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

// How many bytes are to follow a first byte of UTF-8; 0 for a byte that begins nothing.
constexpr std::size_t ContinuationsAfter(unsigned char lead) {
  if (lead < 0xC2 || lead > 0xF4) return 0;
  return lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
}

constexpr bool IsContinuation(unsigned char byte) { return (byte & 0xC0) == 0x80; }

// Shuts out overlong forms, surrogates and what lies above U+10FFFF.
constexpr bool SecondByteFits(unsigned char lead, unsigned char second) {
  switch (lead) {
    case 0xE0:
      return second >= 0xA0;
    case 0xED:
      return second < 0xA0;
    case 0xF0:
      return second >= 0x90;
    case 0xF4:
      return second < 0x90;
    default:
      return true;
  }
}

struct Utf8Character {
  char32_t point;
  std::size_t length;
};

// The character at the start of a text that is not empty, or what Windows takes for one malformed
// character: a first byte that the text's end cuts short takes all that is left; otherwise it takes
// the continuation bytes up to and including a second one that does not fit.
Utf8Character DecodeUtf8(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  if (lead < 0x80) return {lead, 1};
  const std::size_t continuations = ContinuationsAfter(lead);
  if (continuations == 0) return {kReplacement, 1};
  if (text.size() <= continuations) return {kReplacement, text.size()};
  char32_t point = lead & (0x3Fu >> continuations);
  for (std::size_t i = 1; i <= continuations; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (!IsContinuation(byte)) return {kReplacement, i};
    if (i == 1 && !SecondByteFits(lead, byte)) return {kReplacement, 2};
    point = point << 6 | (byte & 0x3Fu);
  }
  return {point, continuations + 1};
}

// Writes what one character needs and yields the place behind it.
char16_t* PutUtf16(char16_t* to, char32_t point) {
  if (point < 0x10000) {
    *to++ = static_cast<char16_t>(point);
  } else {
    *to++ = static_cast<char16_t>(0xD7C0 + (point >> 10));
    *to++ = static_cast<char16_t>(0xDC00 + (point & 0x3FF));
  }
  return to;
}

void AppendUtf8(std::string& text, char32_t point) {
  const auto tail = [point](int shift) {
    return static_cast<char>(0x80 | (point >> shift & 0x3F));
  };
  if (point < 0x80) {
    text += static_cast<char>(point);
  } else if (point < 0x800) {
    text += static_cast<char>(0xC0 | point >> 6);
    text += tail(0);
  } else if (point < 0x10000) {
    text += static_cast<char>(0xE0 | point >> 12);
    text += tail(6);
    text += tail(0);
  } else {
    text += static_cast<char>(0xF0 | point >> 18);
    text += tail(12);
    text += tail(6);
    text += tail(0);
  }
}

}  // namespace

std::u16string Utf8ToUtf16(std::string_view utf8) {
  std::u16string text(utf8.size(), u'\0');  // no byte yields more than one unit
  char16_t* end = text.data();
  while (!utf8.empty()) {
    const Utf8Character character = DecodeUtf8(utf8);
    end = PutUtf16(end, character.point);
    utf8.remove_prefix(character.length);
  }
  text.resize(static_cast<std::size_t>(end - text.data()));
  return text;
}

std::string Utf16ToUtf8(std::u16string_view utf16) {
  std::string text;
  text.reserve(utf16.size() * 3);
  for (std::size_t i = 0; i < utf16.size(); ++i) {
    const char16_t unit = utf16[i];
    if (IsHighSurrogate(unit) && i + 1 < utf16.size() && IsLowSurrogate(utf16[i + 1])) {
      const char32_t high = unit & 0x3FFu;
      const char32_t low = utf16[++i] & 0x3FFu;
      AppendUtf8(text, 0x10000 + (high << 10 | low));
    } else {
      const bool unpaired = IsHighSurrogate(unit) || IsLowSurrogate(unit);
      AppendUtf8(text, unpaired ? kReplacement : unit);
    }
  }
  return text;
}

std::string Utf16ToGbk(std::u16string_view utf16) {
  std::string text(utf16.size() * 2, '\0');
  char* end = text.data();
  for (const char16_t unit : utf16) {
    const std::uint16_t code = kTables.codes[unit];
    if (code > 0xFF) *end++ = static_cast<char>(code >> 8);
    *end++ = code == 0 && unit != 0 ? kUnknown : static_cast<char>(code & 0xFF);
  }
  text.resize(static_cast<std::size_t>(end - text.data()));
  return text;
}

std::u16string GbkToUtf16(std::string_view gbk) {
  std::u16string text(gbk.size(), u'\0');
  char16_t* end = text.data();
  for (std::size_t i = 0; i < gbk.size(); ++i) {
    const auto byte = static_cast<unsigned char>(gbk[i]);
    if (byte == kEuroByte) {
      *end++ = kEuro;
    } else if (byte == kLastByte) {
      *end++ = kLastByteCharacter;
    } else if (!IsLead(byte)) {
      *end++ = byte;
    } else if (i + 1 < gbk.size() && gbk[i + 1] != '\0') {
      // A lead byte takes the byte behind it along, even one that makes no sense there.
      const auto trail = static_cast<unsigned char>(gbk[++i]);
      *end++ = IsTrail(trail) ? kTables.characters[CellIndex(byte, trail)] : char16_t{kUnknown};
    } else {
      *end++ = kUnknown;
    }
  }
  text.resize(static_cast<std::size_t>(end - text.data()));
  return text;
}

}  // namespace idcardreader::platform
