#pragma once

#include <filesystem>

namespace apitest {

// True while the process has this library in memory.
bool IsLoaded(const std::filesystem::path& library);

}  // namespace apitest
