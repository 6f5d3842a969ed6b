#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
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
// pieces of it too: through all memory that the process may write to, its static data, its heap, its
// stacks.
std::vector<Find> FindCard(const devkit::Card& card, pid_t process);

}  // namespace memorytest
