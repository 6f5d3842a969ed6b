#include "platform/heap_block.h"

#include <malloc.h>
#include <string.h>

namespace idcardreader::platform {

void WipeHeapBlock(void* block) { explicit_bzero(block, malloc_usable_size(block)); }

}  // namespace idcardreader::platform
