#pragma once

#include <filesystem>
#include <string>

namespace idcardreader::platform {

// The file of a library of this base name that the process has loaded, whoever did so: "DLL_File" is
// "DLL_File.dll" on Windows and "libDLL_File.so", or the same with an interface number, on Linux.
// Empty when there is none.
std::filesystem::path LoadedLibraryFile(const std::string& baseName);

// The system's number for this process.
unsigned long ProcessNumber();

}  // namespace idcardreader::platform
