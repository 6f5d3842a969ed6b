#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace devkit {

// Finds the messages in a stream of bytes, however the network cut it: objects by their brackets,
// and the line feeds that stand after some of them.
class MessageSplitter {
 public:
  struct Piece {
    enum class Kind { object, line_feed, stray };
    Kind kind;
    std::string text;
  };

  // The pieces that are complete now. An object larger than the limit comes as a stray piece.
  std::vector<Piece> Feed(std::string_view bytes);

  static constexpr std::size_t kLongestObject = 65536;

 private:
  std::string object;
  int depth = 0;
  bool insideText = false;
  bool escaped = false;
};

}  // namespace devkit
