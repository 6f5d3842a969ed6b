#include "api/block_files.h"

#include <array>

#include "idcardreader/idcardreader.h"
#include "platform/files.h"

namespace idcardreader {
namespace {

constexpr std::size_t kLargestBlock = IDCARDREADER_PHOTO_BLOCK_BYTES;
static_assert(kLargestBlock >= IDCARDREADER_TEXT_BLOCK_BYTES &&
              kLargestBlock >= IDCARDREADER_FINGERPRINT_BLOCK_BYTES);

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
  return platform::WriteToFile(platform::OpenAnsiFile(fileName, "wb+"),
                               {reinterpret_cast<const char*>(bytes.data()), count});
}

bool ReplaceBlockFile(CardBlock block, const char* fileName) {
  if (CopyBlock(block, nullptr, nullptr)) {
    return WriteBlockFile(block, fileName, nullptr);
  }
  platform::RemoveAnsiFile(fileName);
  return false;
}

}  // namespace idcardreader
