#include "memory/memory_search.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <set>
#include <unordered_map>

#include "base/encoding.h"
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

class Needles {
 public:
  explicit Needles(const devkit::Card& card) {
    for (const char* field : {"name", "id", "address", "issue"}) {
      const std::string text = card.Field(field);
      AddSpellings(std::string(field) + " in UTF-8", BytesOf(text));
      AddSpellings(std::string(field) + " in GBK", BytesOf(hosttest::Gbk(text)));
      Bytes wide;
      for (const char16_t unit : idcardreader::platform::Utf8ToUtf16(text)) {
        wide.push_back(static_cast<std::uint8_t>(unit & 0xFF));
        wide.push_back(static_cast<std::uint8_t>(unit >> 8));
      }
      // A piece has as many characters.
      AddSpellings(std::string(field) + " in UTF-16", wide, kLongPiece);
    }
    AddSpellings("DN", card.dn);
    AddSpellings("input key", card.inputKey);
    AddSpellings("output key", card.outputKey);
    AddSpellings("answer to the input key", card.keyAnswer);
    for (const auto& [id, bytes] : card.files) AddSpellings("file " + std::to_string(id), bytes);
    if (card.image) {
      AddSpellings("photo", *card.image);
      Add("photo as numbers", BytesOf(devkit::ByteArrayText(*card.image)), kLongPiece);
    }
    Add("content in base64", BytesOf(devkit::Base64(devkit::Deflate(devkit::ContentText(card)))),
        kLongPiece);
  }

  void FindIn(const Bytes& part, std::uintptr_t address, const std::string& mapping,
              std::vector<Find>& finds) const {
    for (std::size_t offset = 0; offset + kKeyBytes <= part.size(); ++offset) {
      const std::uint64_t key = KeyAt(part.data() + offset);
      if (!filter[FilterPlace(key)]) continue;
      const auto [first, last] = needles.equal_range(key);
      for (auto needle = first; needle != last; ++needle) {
        const auto& [what, bytes] = needle->second;
        if (part.size() - offset < bytes.size() ||
            std::memcmp(part.data() + offset, bytes.data(), bytes.size()) != 0) {
          continue;
        }
        const std::uintptr_t begin = address + offset;
        const auto same = std::find_if(finds.rbegin(), finds.rend(), [&, name = what](auto& find) {
          return find.what == names[name] && begin <= find.end;
        });
        if (same != finds.rend()) {
          same->end = std::max(same->end, begin + bytes.size());
        } else {
          const std::size_t around = std::min<std::size_t>(part.size() - offset, 64);
          finds.push_back({begin, begin + bytes.size(), names[what],
                           mapping + "\n" + devkit::ToHex({part.data() + offset, around})});
        }
      }
    }
  }

 private:
  // As they are, and in hexadecimal digits of either kind.
  void AddSpellings(const std::string& what, const Bytes& bytes, std::size_t pieceSize = kPiece) {
    Add(what, bytes, pieceSize);
    Bytes digits = BytesOf(devkit::ToHex(bytes));
    Add(what + " in hexadecimal", digits, 2 * pieceSize);
    for (std::uint8_t& digit : digits) digit |= digit >= 'A' ? 0x20 : 0;
    Add(what + " in small hexadecimal", digits, 2 * pieceSize);
  }

  // Every piece, but those that anything may hold.
  void Add(const std::string& what, const Bytes& bytes, std::size_t pieceSize) {
    const std::size_t size = std::min(bytes.size(), pieceSize);
    for (std::size_t begin = 0; size >= kKeyBytes && begin + size <= bytes.size(); ++begin) {
      const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(begin);
      const Bytes piece(first, first + static_cast<std::ptrdiff_t>(size));
      if (std::set<std::uint8_t>(piece.begin(), piece.end()).size() < 5) continue;
      const std::uint64_t key = KeyAt(piece.data());
      filter[FilterPlace(key)] = true;
      needles.emplace(key, std::pair(names.size(), piece));
    }
    names.push_back(what);
  }

  std::vector<std::string> names;
  // By their first bytes: the place of the name, and all bytes.
  std::unordered_multimap<std::uint64_t, std::pair<std::size_t, Bytes>> needles;
  std::vector<bool> filter = std::vector<bool>(std::size_t{1} << kFilterBits);
};

}  // namespace

std::vector<Find> FindCard(const devkit::Card& card, pid_t process) {
  const Needles needles(card);
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
      Bytes part(std::min<std::uint64_t>(kChunk + 2 * kLongPiece, end - address));
      const ssize_t got = pread(memory, part.data(), part.size(), static_cast<off_t>(address));
      part.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
      needles.FindIn(part, address, mapping, finds);
    }
  }
  close(memory);
  return finds;
}

}  // namespace memorytest
