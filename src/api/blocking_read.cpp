#include "api/blocking_read.h"

#include "api/card_block_buffers.h"
#include "api/engine_use.h"
#include "api/export_guard.h"
#include "api/result_text.h"

namespace idcardreader {

bool ReadCardBlocking() {
  const bool succeeded = Guarded(false, [] {
    const EngineUse engine = UseOrCreateEngineToRead();
    return engine &&
           engine->ReadCardStartRead(false, [&engine] { FetchBlocks(*engine.operator->()); });
  });
  return succeeded || Guarded(false, [] {
           DropBlocks();
           SetResultText({});
           return false;
         });
}

}  // namespace idcardreader
