#pragma once

#include <filesystem>
#include <memory>
#include <string>

namespace idcardreader::platform {

// A library loaded at run time; unloaded by the destructor.
class DynamicLibrary {
 public:
  enum class Dependencies {
    default_search,
    from_its_own_folder,  // LoadLibraryExA with flag 8
  };

  // Null when the library does not load.
  static std::unique_ptr<DynamicLibrary> Open(const std::string& fileName, Dependencies search);
  ~DynamicLibrary();
  DynamicLibrary(const DynamicLibrary&) = delete;
  DynamicLibrary& operator=(const DynamicLibrary&) = delete;

  // The library stays loaded when this object goes.
  void LeaveLoaded();

  // Null when the library has no such symbol.
  void* Symbol(const char* name) const;
  // The file it was loaded from, links followed; empty when the system does not tell.
  std::filesystem::path File() const;

 private:
  explicit DynamicLibrary(void* opened);
  void* handle;
};

// The file name that a library of this base name has here: "DLL_File" is "DLL_File.dll" on Windows
// and "libDLL_File.so" on Linux.
std::string DynamicLibraryFileName(const std::string& baseName);
// The same for one whose interface has this number: on Linux "libDLL_File.so.2".
std::string DynamicLibraryFileName(const std::string& baseName, int interfaceNumber);

}  // namespace idcardreader::platform
