#pragma once

#include <filesystem>

namespace readcard::trace {

// The folder of the library that this function is in, where that writes its logs. Empty when the
// system does not tell.
std::filesystem::path FolderOf(const void* function);

}  // namespace readcard::trace
