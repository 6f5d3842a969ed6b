#pragma once

#include <stdexcept>

#include "support/hard_stop.h"

namespace idcardreader {

// While one of these is there, what would end the process throws this instead.
struct ThrowingHardStop {
  struct Stopped : std::runtime_error {
    using std::runtime_error::runtime_error;
  };

  ThrowingHardStop() {
    SetHardStopHandler([](const char* reason) { throw Stopped(reason); });
  }
  ~ThrowingHardStop() { SetHardStopHandler(nullptr); }
};

}  // namespace idcardreader
