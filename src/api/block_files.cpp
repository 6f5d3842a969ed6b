#include "api/block_files.h"

#include <array>

#include "platform/files.h"

namespace idcardreader {
namespace {

constexpr std::size_t kLargestBlock = 1280;

}  // namespace

bool WriteBlockFile(CardBlock block, const char* fileName, std::uint32_t* length) {
  std::array<std::uint8_t, kLargestBlock> bytes;
  std::uint32_t count = 0;
  if (!CopyBlock(block, bytes.data(), &count)) {
    return false;
  }
  if (length != nullptr) {
    *length = count;
  }
  if (const platform::File file = platform::OpenAnsiFile(fileName, "wb+")) {
    std::fwrite(bytes.data(), 1, count, file.get());
    std::fflush(file.get());
  }
  return true;
}

}  // namespace idcardreader
