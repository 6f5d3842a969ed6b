#include "platform/heap_block.h"

#include <malloc.h>
#include <windows.h>

namespace idcardreader::platform {

void WipeHeapBlock(void* block) { SecureZeroMemory(block, _msize(block)); }

}  // namespace idcardreader::platform
