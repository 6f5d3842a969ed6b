#pragma once

#include <cstdint>

namespace idcardreader {

// Outside libraries that decompress photos. Each is loaded on first use and kept for the life of
// the process; one that is missing is looked for again by the next call.

// Has the photo file turned into a bitmap file, where WltRS offers GetBmp.
void DecodePhotoFile(const char* photoFileName);

// Hands the argument to dewlt of Dewlt and returns its result; 0 when that is missing.
std::uintptr_t CallDewlt(std::uintptr_t argument);

// At unload. The decoders stay loaded.
void ReleasePhotoDecoders();

}  // namespace idcardreader
