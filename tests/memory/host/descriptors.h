#pragma once

// What the host inherits, and what it says there.
namespace memorytest {

inline constexpr int kReader = 3;   // a reader in another process, behind hidapi's functions
inline constexpr int kControl = 4;  // commands, a letter each, and their results

// A report follows that is written; the reply is the result, and behind it the report that was read.
struct ReaderRequest {
  enum Operation { open, write, read, close } operation;
  int milliseconds;
};

}  // namespace memorytest
