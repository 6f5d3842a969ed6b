#include "api/card_block_buffers.h"
#include "api/engine_use.h"
#include "api/photo_decoders.h"
#include "api/result_text.h"
#include "platform/module.h"
#include "support/text_log.h"

namespace idcardreader {
namespace {

// Runs when the library is unloaded, and when the process exits. With an engine in place it is the
// exit, for an engine keeps the library loaded: its threads may still use what is here, nothing is
// waited for, and the system takes everything back.
class ReleaseAtUnload {
 public:
  ReleaseAtUnload() = default;
  ~ReleaseAtUnload() {
    if (ReleaseEngineUse()) {
      ReleaseResultText();
      ReleaseBlocks();
      ReleasePhotoDecoders();
      ReleaseProcessLogs();
      platform::ReleaseLanguageRuntime();
    }
  }
};

const ReleaseAtUnload releaseAtUnload;

}  // namespace
}  // namespace idcardreader
