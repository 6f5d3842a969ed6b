#pragma once

// What the searched host inherits, and what is said there.
namespace memorytest {

inline constexpr int kControl = 0;   // calls of the library, and their results
inline constexpr int kReader = 200;  // the reports of a reader in another process

// An export by its name; its result comes back, of one in the background at once a 0.
struct Call {
  char function[32];
  int argument;
  bool inBackground;
};

}  // namespace memorytest
