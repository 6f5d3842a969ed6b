#include "decode_service/message_splitter.h"

#include <utility>

namespace devkit {

std::vector<MessageSplitter::Piece> MessageSplitter::Feed(std::string_view bytes) {
  std::vector<Piece> pieces;
  for (const char byte : bytes) {
    if (depth == 0 && byte != '{') {
      const bool lineFeed = byte == '\n';
      pieces.push_back(
          {lineFeed ? Piece::Kind::line_feed : Piece::Kind::stray, std::string(1, byte)});
      continue;
    }
    object += byte;
    if (insideText) {
      if (escaped) {
        escaped = false;
      } else if (byte == '\\') {
        escaped = true;
      } else if (byte == '"') {
        insideText = false;
      }
    } else if (byte == '"') {
      insideText = true;
    } else if (byte == '{') {
      ++depth;
    } else if (byte == '}') {
      --depth;
    }
    if (depth == 0 || object.size() > kLongestObject) {
      pieces.push_back({depth == 0 ? Piece::Kind::object : Piece::Kind::stray,
                        std::exchange(object, std::string())});
      depth = 0;
      insideText = false;
      escaped = false;
    }
  }
  return pieces;
}

}  // namespace devkit
