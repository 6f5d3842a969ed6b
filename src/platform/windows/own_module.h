#pragma once

#include <windows.h>

namespace idcardreader::platform {

// The module that this code is linked into. With addReference it stays loaded until one more
// FreeLibrary. Null on failure.
HMODULE OwnModule(bool addReference);

}  // namespace idcardreader::platform
