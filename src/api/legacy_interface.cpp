#include "api/engine_use.h"
#include "api/export_guard.h"
#include "idcardreader/idcardreader.h"

// The older hosts' interface.

using namespace idcardreader;

int32_t CloseComm() {
  return Guarded(1, [] {
    DestroyEngine();
    return 1;
  });
}
