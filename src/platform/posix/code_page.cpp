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

// Shuts out overlong forms, surrogates and what lies above U+10FFFF.
constexpr bool SecondByteFits(unsigned char lead, unsigned char second) {
  return (lead != 0xE0 || second >= 0xA0) && (lead != 0xED || second < 0xA0) &&
         (lead != 0xF0 || second >= 0x90) && (lead != 0xF4 || second < 0x90);
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
  if (lead < 0xC2 || lead > 0xF4) return {kReplacement, 1};
  const std::size_t continuations = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  if (text.size() <= continuations) return {kReplacement, text.size()};
  char32_t point = lead & (0x3Fu >> continuations);
  for (std::size_t i = 1; i <= continuations; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0) != 0x80) return {kReplacement, i};
    if (i == 1 && !SecondByteFits(lead, byte)) return {kReplacement, 2};
    point = point << 6 | (byte & 0x3Fu);
  }
  return {point, continuations + 1};
}

void AppendUtf8(std::string& text, char32_t point) {
  if (point < 0x80) {
    text += static_cast<char>(point);
    return;
  }
  // The first byte tells by its highest bits how many follow, each with six bits of the character.
  const int following = point < 0x800 ? 1 : point < 0x10000 ? 2 : 3;
  text += static_cast<char>((0xFF00 >> (following + 1)) | point >> (6 * following));
  for (int left = following - 1; left >= 0; --left) {
    text += static_cast<char>(0x80 | (point >> (6 * left) & 0x3F));
  }
}

}  // namespace

std::u16string Utf8ToUtf16(std::string_view utf8) {
  std::u16string text;
  text.reserve(utf8.size());  // no byte yields more than one unit
  while (!utf8.empty()) {
    const Utf8Character character = DecodeUtf8(utf8);
    if (character.point < 0x10000) {
      text += static_cast<char16_t>(character.point);
    } else {
      text += static_cast<char16_t>(0xD7C0 + (character.point >> 10));
      text += static_cast<char16_t>(0xDC00 + (character.point & 0x3FF));
    }
    utf8.remove_prefix(character.length);
  }
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
  std::string text;
  text.reserve(utf16.size() * 2);
  for (const char16_t unit : utf16) {
    const std::uint16_t code = kTables.codes[unit];
    if (code > 0xFF) text += static_cast<char>(code >> 8);
    text += code == 0 && unit != 0 ? kUnknown : static_cast<char>(code & 0xFF);
  }
  return text;
}

std::u16string GbkToUtf16(std::string_view gbk) {
  std::u16string text;
  text.reserve(gbk.size());
  for (std::size_t i = 0; i < gbk.size(); ++i) {
    const auto byte = static_cast<unsigned char>(gbk[i]);
    if (byte == kEuroByte) {
      text += kEuro;
    } else if (byte == kLastByte) {
      text += kLastByteCharacter;
    } else if (byte < kFirstLead) {
      text += byte;
    } else if (i + 1 < gbk.size() && gbk[i + 1] != '\0') {
      // A lead byte takes the byte behind it along, even one that makes no sense there.
      const auto trail = static_cast<unsigned char>(gbk[++i]);
      const bool exists = trail >= kFirstTrail && trail <= kLastTrail && trail != kNoTrail;
      text += exists ? kTables.characters[CellIndex(byte, trail)] : char16_t{kUnknown};
    } else {
      text += kUnknown;
    }
  }
  return text;
}

}  // namespace idcardreader::platform
