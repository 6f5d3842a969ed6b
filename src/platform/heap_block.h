#pragma once

namespace idcardreader::platform {

// Overwrites a block that malloc has given, to its end.
void WipeHeapBlock(void* block);

}  // namespace idcardreader::platform
