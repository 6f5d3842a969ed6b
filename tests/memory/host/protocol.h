#pragma once

// What the searched host inherits, and what is said there.
namespace memorytest {

inline constexpr int kControl = 0;   // calls of the library, and their results
inline constexpr int kReader = 200;  // a reader in another process, behind hidapi's functions

// A report follows that is written; the reply is the result, and behind it the report that was read.
struct ReaderRequest {
  enum Operation { open, write, read, close } operation;
  int milliseconds;
};

// An export by its name; its result comes back, of one in the background at once a 0.
struct Call {
  char function[32];
  int argument;
  bool inBackground;
};

}  // namespace memorytest
