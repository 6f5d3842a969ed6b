#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "card/card.h"

namespace memorytest {

// Something of a card in another process's memory.
struct Find {
  std::uintptr_t begin;
  std::uintptr_t end;
  std::string what;
  std::string place;  // the mapping, as the system describes it, and the bytes around the find
};

// Looks for everything that a card holds, in every spelling in which a program may have it, and for
// pieces of it too.
class MemorySearch {
 public:
  explicit MemorySearch(const devkit::Card& card);

  // Through all memory that the process may write to: its static data, its heap, its stacks.
  std::vector<Find> In(pid_t process) const;

 private:
  void Add(const std::string& what, const devkit::Bytes& bytes, std::size_t pieceSize);
  void AddWithHexText(const std::string& what, const devkit::Bytes& bytes, std::size_t pieceSize);
  void AddText(const std::string& what, const std::string& utf8);
  void SearchPart(const std::string& part, std::uintptr_t address, const std::string& mapping,
                  std::vector<Find>& finds) const;

  struct Needle {
    std::size_t what;
    devkit::Bytes bytes;
  };
  std::vector<std::string> names;
  std::unordered_multimap<std::uint64_t, Needle> needles;  // by their first bytes
  std::vector<bool> filter;
};

}  // namespace memorytest
