#include "support/field_reader.h"

#include <algorithm>

#include "support/array_elements.h"
#include "support/hard_stop.h"

namespace idcardreader {
namespace {

constexpr std::size_t kLongestKey = 29;

}  // namespace

std::size_t FindKey(std::string_view text, std::string_view key) {
  if (key.size() > kLongestKey) {
    HardStop("a message key of 30 or more characters");
  }
  char pattern[kLongestKey + 2];
  pattern[0] = '"';
  std::copy(key.begin(), key.end(), pattern + 1);
  pattern[key.size() + 1] = '"';
  const std::size_t found = text.find(std::string_view(pattern, key.size() + 2));
  if (found == std::string_view::npos) {
    return kKeyNotFound;
  }
  const std::size_t colon = text.find(':', found);
  return colon == std::string_view::npos ? kKeyNotFound : colon + 1;
}

std::optional<std::string_view> ReadValue(std::string_view text, std::string_view key) {
  std::size_t begin = FindKey(text, key);
  if (begin == kKeyNotFound) {
    return std::nullopt;
  }
  char terminator = '}';
  if (begin < text.size() && text[begin] == '"') {
    terminator = '"';
    ++begin;
  }
  const std::size_t end = text.find(terminator, begin);
  if (end == std::string_view::npos) {
    return std::nullopt;
  }
  return text.substr(begin, end - begin);
}

std::int32_t ReadTrailingString(std::string_view text, std::string_view key, std::string& value) {
  const std::size_t position = FindKey(text, key);
  if (position == kKeyNotFound || position + 1 > text.size()) {
    return -1;
  }
  const std::size_t begin = position + 1;
  const std::size_t end = text.find("\"}", begin);
  if (end == std::string_view::npos) {
    return -1;
  }
  value = text.substr(begin, end - begin);
  return static_cast<std::int32_t>(value.size()) - 1;
}

std::uint32_t ReadByteArray(std::string_view text, std::string_view key, std::uint8_t* bytes,
                            std::size_t capacity) {
  const std::size_t position = FindKey(text, key);
  if (position == kKeyNotFound) {
    return kArrayNotFound;
  }
  const std::size_t begin = position + 1;
  const std::size_t end = text.find(']', begin);
  if (end == std::string_view::npos) {
    return kArrayNotFound;
  }
  return ReadElements(text.substr(begin, end - begin), bytes, capacity);
}

std::int32_t ReadObject(std::string_view text, std::string_view key, std::string& object) {
  const std::size_t begin = FindKey(text, key);
  if (begin == kKeyNotFound) {
    return -1;
  }
  const std::size_t end = text.find('}', begin);
  if (end == std::string_view::npos) {
    return -1;
  }
  object = text.substr(begin, end - begin + 1);
  return static_cast<std::int32_t>(object.size()) - 1;
}

}  // namespace idcardreader
