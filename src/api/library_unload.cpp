#include "api/card_blocks.h"
#include "api/engine_use.h"
#include "api/export_support.h"
#include "api/photo_decoders.h"
#include "platform/process.h"
#include "reader/reader_backend.h"
#include "support/logs.h"

namespace idcardreader {
namespace {

// Runs when the library is unloaded, and when the process exits: then threads of the host may still
// call, nothing is given back, and the system takes everything.
class ReleaseAtUnload {
 public:
  ReleaseAtUnload() = default;
  ~ReleaseAtUnload() {
    if (!platform::ProcessIsEnding() && ReleaseEngineUse()) {
      ReleaseResultText();
      ReleaseBlocks();
      ReleasePhotoDecoders();
      ReleaseSystemReaderBackend();
      ReleaseProcessLogs();
      platform::ReleaseLanguageRuntime();
    }
  }
};

const ReleaseAtUnload releaseAtUnload;

}  // namespace
}  // namespace idcardreader
