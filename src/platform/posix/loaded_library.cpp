#include "platform/loaded_library.h"

#include <link.h>
#include <unistd.h>

#include <string_view>

namespace idcardreader::platform {
namespace {

struct Search {
  std::string fileName;
  std::filesystem::path found;
};

int LookAtModule(dl_phdr_info* module, std::size_t /*size*/, void* data) try {
  auto& search = *static_cast<Search*>(data);
  const std::string_view path = module->dlpi_name;
  std::string_view name = path.substr(path.rfind('/') + 1);
  if (!name.starts_with(search.fileName)) return 0;
  name.remove_prefix(search.fileName.size());
  if (!name.empty() && name.front() != '.') return 0;
  search.found = path;
  return 1;
} catch (...) {
  return 1;
}

}  // namespace

std::filesystem::path LoadedLibraryFile(const std::string& baseName) {
  Search search{"lib" + baseName + ".so", {}};
  dl_iterate_phdr(&LookAtModule, &search);
  if (search.found.empty()) return {};
  // As the library itself does it: its files lie beside what its links lead to.
  std::error_code error;
  std::filesystem::path real = std::filesystem::canonical(search.found, error);
  return error ? std::filesystem::path() : real;
}

unsigned long ProcessNumber() { return static_cast<unsigned long>(getpid()); }

}  // namespace idcardreader::platform
