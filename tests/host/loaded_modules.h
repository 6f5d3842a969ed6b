#pragma once

#include <filesystem>

namespace hosttest {

// True while the process has this library in memory.
bool IsLoaded(const std::filesystem::path& library);

}  // namespace hosttest
