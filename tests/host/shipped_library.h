#pragma once

#include <idcardreader/idcardreader.h>

#include <filesystem>
#include <stdexcept>

#include "exported_functions.h"
#include "platform/dynamic_library.h"

namespace hosttest {

// The shipped library, loaded at run time: every export, by the types of the public header.
class ShippedLibrary {
 public:
  // Throws std::runtime_error when it does not load or lacks a function.
  explicit ShippedLibrary(const std::filesystem::path& file)
      : library(idcardreader::platform::DynamicLibrary::Open(
            file.string(),
            idcardreader::platform::DynamicLibrary::Dependencies::from_its_own_folder)) {
    if (!library) throw std::runtime_error("The library does not load: " + file.string());
#define IDCARDREADER_BIND(name)                              \
  name = reinterpret_cast<decltype(&::name)>(Symbol(#name)); \
  if (name == nullptr) throw std::runtime_error("The library lacks " #name);
    IDCARDREADER_FUNCTIONS(IDCARDREADER_BIND)
#undef IDCARDREADER_BIND
  }

  void* Symbol(const char* name) const { return library->Symbol(name); }

#define IDCARDREADER_DECLARE(name) decltype(&::name) name = nullptr;
  IDCARDREADER_FUNCTIONS(IDCARDREADER_DECLARE)
#undef IDCARDREADER_DECLARE

 private:
  std::unique_ptr<idcardreader::platform::DynamicLibrary> library;
};

}  // namespace hosttest
