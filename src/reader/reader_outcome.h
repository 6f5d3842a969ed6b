#pragma once

#include <cstdint>

#include "support/status_codes.h"

namespace idcardreader {

// How an operation of the reader ended. It raises nothing by itself: whoever asked for it decides
// what the failure means.
struct ReaderOutcome {
  enum class Kind { done, failed, abandoned };

  Kind kind = Kind::done;
  // ERRORT_None also for a failure that has no code of its own: two answers to other commands.
  std::int32_t code = ERRORT_None;

  static ReaderOutcome Failed(std::int32_t code) { return {Kind::failed, code}; }
  static ReaderOutcome Abandoned() { return {Kind::abandoned, ERRORT_None}; }

  bool Done() const { return kind == Kind::done; }
  bool ReaderLost() const { return code == ERRORT_ReaderLost; }
};

}  // namespace idcardreader
