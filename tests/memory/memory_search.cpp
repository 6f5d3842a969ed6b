#include "memory/memory_search.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>

#include "decode_service/content.h"
#include "host/record_checks.h"
#include "platform/code_page.h"

namespace memorytest {
namespace {

using devkit::Bytes;

constexpr std::size_t kKeyBytes = 6;  // the shortest name's in GBK and in UTF-16
constexpr std::size_t kPiece = 8;
constexpr std::size_t kLongPiece = 16;
constexpr std::size_t kChunk = 1 << 20;
constexpr std::size_t kFilterBits = 22;

std::uint64_t KeyAt(const void* bytes) {
  std::uint64_t key = 0;
  std::memcpy(&key, bytes, kKeyBytes);
  return key;
}

std::size_t FilterPlace(std::uint64_t key) {
  return static_cast<std::size_t>(key * 0x9E3779B97F4A7C15u >> (64 - kFilterBits));
}

Bytes BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

std::string Dump(const std::string& part, std::size_t offset) {
  std::string text;
  const std::size_t begin = offset - std::min<std::size_t>(offset, 32);
  for (std::size_t i = begin; i < std::min(part.size(), offset + 64); ++i) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "%s%02X", i == offset ? " > " : " ",
                  static_cast<unsigned char>(part[i]));
    text += digits;
  }
  return text;
}

}  // namespace

MemorySearch::MemorySearch(const devkit::Card& card) : filter(std::size_t{1} << kFilterBits) {
  for (const char* field : {"name", "id", "address", "issue"}) AddText(field, card.Field(field));
  AddWithHexText("DN", card.dn, kPiece);
  AddWithHexText("input key", card.inputKey, kPiece);
  AddWithHexText("output key", card.outputKey, kPiece);
  AddWithHexText("answer to the input key", card.keyAnswer, kPiece);
  for (const auto& [id, bytes] : card.files) {
    AddWithHexText("file " + devkit::ToHex({&id, 1}), bytes, kPiece);
  }
  if (card.image) {
    AddWithHexText("photo", *card.image, kPiece);
    Add("photo as numbers", BytesOf(devkit::ByteArrayText(*card.image)), kLongPiece);
  }
  Add("content in base64", BytesOf(devkit::Base64(devkit::Deflate(devkit::ContentText(card)))),
      kLongPiece);
}

void MemorySearch::AddText(const std::string& what, const std::string& utf8) {
  AddWithHexText(what + " in UTF-8", BytesOf(utf8), kPiece);
  AddWithHexText(what + " in GBK", BytesOf(hosttest::Gbk(utf8)), kPiece);
  Bytes wide;
  for (const char16_t unit : idcardreader::platform::Utf8ToUtf16(utf8)) {
    wide.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    wide.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  AddWithHexText(what + " in UTF-16", wide, kLongPiece);  // a piece has as many characters
}

void MemorySearch::AddWithHexText(const std::string& what, const Bytes& bytes,
                                  std::size_t pieceSize) {
  Add(what, bytes, pieceSize);
  std::string hex = devkit::ToHex(bytes);
  Add(what + " in hexadecimal", BytesOf(hex), 2 * pieceSize);
  for (char& digit : hex) digit = digit >= 'A' ? static_cast<char>(digit - 'A' + 'a') : digit;
  Add(what + " in small hexadecimal", BytesOf(hex), 2 * pieceSize);
}

// Every piece, but those that anything may hold.
void MemorySearch::Add(const std::string& what, const Bytes& bytes, std::size_t pieceSize) {
  const std::size_t size = std::min(bytes.size(), pieceSize);
  for (std::size_t begin = 0; size >= kKeyBytes && begin + size <= bytes.size(); ++begin) {
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(begin);
    const Bytes piece(first, first + static_cast<std::ptrdiff_t>(size));
    if (std::set<std::uint8_t>(piece.begin(), piece.end()).size() < 5) continue;
    const std::uint64_t key = KeyAt(piece.data());
    filter[FilterPlace(key)] = true;
    needles.emplace(key, Needle{names.size(), piece});
  }
  names.push_back(what);
}

std::vector<Find> MemorySearch::In(pid_t process) const {
  const std::string folder = "/proc/" + std::to_string(process);
  const int memory = open((folder + "/mem").c_str(), O_RDONLY | O_CLOEXEC);
  std::vector<Find> finds;
  std::ifstream maps(folder + "/maps");
  std::string mapping;
  while (memory >= 0 && std::getline(maps, mapping)) {
    unsigned long long begin = 0;
    unsigned long long end = 0;
    char writable = 0;
    std::sscanf(mapping.c_str(), "%llx-%llx r%c", &begin, &end, &writable);
    if (writable != 'w') continue;
    // Chunks share as many bytes as the longest piece may have in the chunk before.
    for (std::uint64_t address = begin; address < end; address += kChunk) {
      std::string part(std::min<std::uint64_t>(kChunk + 2 * kLongPiece, end - address), '\0');
      const ssize_t got = pread(memory, part.data(), part.size(), static_cast<off_t>(address));
      part.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
      SearchPart(part, address, mapping, finds);
    }
  }
  close(memory);
  return finds;
}

void MemorySearch::SearchPart(const std::string& part, std::uintptr_t address,
                              const std::string& mapping, std::vector<Find>& finds) const {
  for (std::size_t offset = 0; offset + kKeyBytes <= part.size(); ++offset) {
    const std::uint64_t key = KeyAt(part.data() + offset);
    if (!filter[FilterPlace(key)]) continue;
    const auto [first, last] = needles.equal_range(key);
    for (auto needle = first; needle != last; ++needle) {
      const Bytes& bytes = needle->second.bytes;
      if (part.size() - offset < bytes.size() ||
          std::memcmp(part.data() + offset, bytes.data(), bytes.size()) != 0) {
        continue;
      }
      const std::uintptr_t begin = address + offset;
      const std::string& what = names[needle->second.what];
      const auto same = std::find_if(finds.rbegin(), finds.rend(), [&](const Find& find) {
        return find.what == what && begin <= find.end;
      });
      if (same != finds.rend()) {
        same->end = std::max(same->end, begin + bytes.size());
      } else {
        finds.push_back({begin, begin + bytes.size(), what, mapping + "\n" + Dump(part, offset)});
      }
    }
  }
}

}  // namespace memorytest
