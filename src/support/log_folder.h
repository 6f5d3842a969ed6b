#pragma once

#include <filesystem>
#include <string>

#include "platform/files.h"

namespace idcardreader {

// Opens folder/stamp+name+".txt" for appending text, making the folder first. Null when that fails.
platform::File OpenLogFile(const std::filesystem::path& folder, const std::string& stamp,
                           const std::string& name);

}  // namespace idcardreader
