#include "content/image_area.h"

#include "support/field_reader.h"

namespace idcardreader {
namespace {

// The service sends at most this many elements; what goes beyond is counted but not kept.
constexpr std::size_t kImageAreaSize = 2330;
using ImageArea = std::array<std::uint8_t, kImageAreaSize>;

constexpr std::uint32_t kFrameTextBegin = 14;
constexpr std::uint32_t kFrameTextEnd = 270;
constexpr std::uint32_t kFramePhotoEnd = 1294;
constexpr std::uint32_t kFrameTrailerSize = 1295;

std::vector<std::uint8_t> Part(const ImageArea& area, std::size_t begin, std::size_t size) {
  const auto first = area.begin() + static_cast<std::ptrdiff_t>(begin);
  return {first, first + static_cast<std::ptrdiff_t>(size)};
}

}  // namespace

std::vector<std::uint8_t> ReadPhotoBlock(std::string_view text) {
  ImageArea area{};
  const auto count =
      static_cast<std::int32_t>(ReadByteArray(text, "image", area.data(), area.size()));
  if (count <= static_cast<std::int32_t>(kPhotoBlockSize)) {
    return {};
  }
  return Part(area, 0, kPhotoBlockSize);
}

CardBlocks ReadRawFrame(std::string_view text) {
  ImageArea area{};
  // The count is compared unsigned: a frame that is missing altogether passes as a frame of zeros.
  const std::uint32_t count = ReadByteArray(text, "data", area.data(), area.size());
  CardBlocks blocks;
  if (count >= kFrameTextEnd) {
    blocks.text = Part(area, kFrameTextBegin, kFrameTextEnd - kFrameTextBegin);
  }
  if (count >= kFramePhotoEnd) {
    blocks.photo = Part(area, kFrameTextEnd, kFramePhotoEnd - kFrameTextEnd);
  }
  const std::uint32_t rest = count - kFrameTrailerSize;
  if (count > kFrameTrailerSize && (rest == 512 || rest == 1024)) {
    blocks.fingerprint = Part(area, kFramePhotoEnd, rest);
  }
  if (blocks.photo.empty()) {
    blocks.photo = ReadPhotoBlock(text);
  }
  return blocks;
}

}  // namespace idcardreader
