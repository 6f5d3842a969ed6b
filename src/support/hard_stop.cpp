#include "support/hard_stop.h"

#include <cstdlib>

namespace idcardreader {
namespace {

HardStopHandler installedHandler = nullptr;

}  // namespace

void HardStop(const char* reason) {
  if (installedHandler != nullptr) {
    installedHandler(reason);
  }
  std::abort();
}

void SetHardStopHandler(HardStopHandler handler) { installedHandler = handler; }

}  // namespace idcardreader
