#include "base/encoding.h"

#include <zlib.h>

#include <stdexcept>

namespace devkit {
namespace {

// A client inflates into so many times the deflated length.
constexpr std::size_t kLargestGrowth = 20;

Bytes DeflateAt(const std::string& text, int level) {
  uLongf length = compressBound(static_cast<uLong>(text.size()));
  Bytes deflated(length);
  if (compress2(deflated.data(), &length, reinterpret_cast<const Bytef*>(text.data()),
                static_cast<uLong>(text.size()), level) != Z_OK) {
    throw std::runtime_error("the content cannot be deflated");
  }
  deflated.resize(length);
  return deflated;
}

}  // namespace

std::string ByteArrayText(ByteView bytes) {
  std::string text = "[";
  for (const std::uint8_t byte : bytes) {
    if (text.size() > 1) text += ',';
    text += std::to_string(static_cast<std::int8_t>(byte));
  }
  return text + "]";
}

Bytes Deflate(const std::string& text) {
  Bytes deflated = DeflateAt(text, Z_DEFAULT_COMPRESSION);
  if (text.size() > deflated.size() * kLargestGrowth) deflated = DeflateAt(text, Z_NO_COMPRESSION);
  return deflated;
}

std::string Base64(ByteView bytes) {
  static constexpr char kLetters[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t left = bytes.size() - i;
    const std::uint32_t group = std::uint32_t{bytes[i]} << 16 |
                                (left > 1 ? std::uint32_t{bytes[i + 1]} << 8 : 0u) |
                                (left > 2 ? std::uint32_t{bytes[i + 2]} : 0u);
    text += kLetters[group >> 18];
    text += kLetters[group >> 12 & 63];
    text += left > 1 ? kLetters[group >> 6 & 63] : '=';
    text += left > 2 ? kLetters[group & 63] : '=';
  }
  return text;
}

}  // namespace devkit
