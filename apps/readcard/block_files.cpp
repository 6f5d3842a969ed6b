#include "block_files.h"

#include <filesystem>
#include <fstream>

namespace readcard {
namespace {

bool WriteBlockFile(const std::filesystem::path& file, const std::vector<std::uint8_t>& block) {
  if (block.empty()) {
    std::error_code error;
    std::filesystem::remove(file, error);
    return !error;
  }
  std::ofstream stream(file, std::ios::binary | std::ios::trunc);
  stream.write(reinterpret_cast<const char*>(block.data()),
               static_cast<std::streamsize>(block.size()));
  stream.close();
  return !stream.fail();
}

}  // namespace

bool WriteBlockFiles(const std::string& folder, const CardRecord& card, std::string& complaint) {
  const std::filesystem::path path(std::u8string(folder.begin(), folder.end()));
  std::error_code ignored;  // writing tells whether the folder is there
  std::filesystem::create_directories(path, ignored);
  if (WriteBlockFile(path / "text.bin", card.text) &&
      WriteBlockFile(path / "photo.wlt", card.photo) &&
      WriteBlockFile(path / "fingerprint.bin", card.fingerprint)) {
    return true;
  }
  complaint = "The blocks cannot be written into the folder " + folder + "\n";
  return false;
}

}  // namespace readcard
