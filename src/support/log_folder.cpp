#include "support/log_folder.h"

namespace idcardreader {

platform::File OpenLogFile(const std::filesystem::path& folder, const std::string& stamp,
                           const std::string& name) {
  platform::CreateFolder(folder);
  return platform::OpenFile(folder / (stamp + name + ".txt"), "at");
}

}  // namespace idcardreader
