#include "api/card_block_buffers.h"
#include "api/engine_use.h"
#include "api/photo_decoders.h"
#include "api/result_text.h"
#include "platform/process.h"
#include "reader/system_door.h"
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
      ReleaseSystemReaderDoor();
      ReleaseProcessLogs();
      platform::ReleaseLanguageRuntime();
    }
  }
};

const ReleaseAtUnload releaseAtUnload;

}  // namespace
}  // namespace idcardreader
