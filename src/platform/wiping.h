#pragma once

#include <cstddef>

namespace idcardreader::platform {

// Overwrites bytes although nobody reads them again.
void Wipe(void* bytes, std::size_t count);

// Overwrites what calls that have returned left on this thread's stack: bytes of a card among them,
// in variables that nobody can name any more.
void WipeStack();

}  // namespace idcardreader::platform
