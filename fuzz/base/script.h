#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace fuzz {

// The fuzzer's input, read from its front. Behind its end there are zeros, and zero always stands
// for "as it should be": a short input is a run in which little goes wrong.
class Script {
 public:
  Script(const std::uint8_t* data, std::size_t size)
      : text(reinterpret_cast<const char*>(data), size) {}

  std::uint8_t Byte() {
    if (text.empty()) return 0;
    const auto byte = static_cast<std::uint8_t>(text.front());
    text.remove_prefix(1);
    return byte;
  }
  // 0 to count - 1.
  std::size_t Choice(std::size_t count) { return Byte() % count; }
  std::string Bytes(std::size_t count) {
    const std::string bytes(text.substr(0, count));
    text.remove_prefix(bytes.size());
    return bytes;
  }
  // A byte that tells the length, and the bytes.
  std::string ShortText() { return Bytes(Byte()); }
  std::string LongText() {
    const std::size_t high = Byte();
    return Bytes(high * 256 + Byte());
  }
  std::string Rest() { return Bytes(text.size()); }
  bool Empty() const { return text.empty(); }

 private:
  std::string_view text;
};

}  // namespace fuzz
