#include "host/shipped_library.h"

#include <stdexcept>
#include <string>

namespace hosttest {

using idcardreader::platform::DynamicLibrary;

ShippedLibrary::ShippedLibrary(const std::filesystem::path& file)
    : library(
          DynamicLibrary::Open(file.string(), DynamicLibrary::Dependencies::from_its_own_folder)) {
  if (!library) throw std::runtime_error("The library does not load: " + file.string());
  const auto bind = [this](const char* functionName, auto& function) {
    void* const symbol = library->Symbol(functionName);
    if (symbol == nullptr) {
      throw std::runtime_error("The library lacks " + std::string(functionName));
    }
    function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(symbol);
  };
#define IDCARDREADER_BIND(name) bind(#name, name);
  IDCARDREADER_FUNCTIONS(IDCARDREADER_BIND)
#undef IDCARDREADER_BIND
}

}  // namespace hosttest
