#include "support/field_reader.h"

#include <algorithm>

#include "support/hard_stop.h"

namespace idcardreader {
namespace {

constexpr std::size_t kLongestKey = 29;
constexpr std::size_t kLongestElement = 7;

// atoi on a bounded text: blanks, a sign, digits up to the first other character. Seven characters
// cannot overflow.
int DecimalValue(std::string_view text) {
  std::size_t index = 0;
  while (index < text.size() &&
         (text[index] == ' ' || (text[index] >= '\t' && text[index] <= '\r'))) {
    ++index;
  }
  bool negative = false;
  if (index < text.size() && (text[index] == '-' || text[index] == '+')) {
    negative = text[index] == '-';
    ++index;
  }
  int value = 0;
  for (; index < text.size() && text[index] >= '0' && text[index] <= '9'; ++index) {
    value = value * 10 + (text[index] - '0');
  }
  return negative ? -value : value;
}

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
  std::size_t begin = position + 1;
  const std::size_t end = text.find(']', begin);
  if (end == std::string_view::npos) {
    return kArrayNotFound;
  }
  std::uint32_t count = 0;
  while (begin < end) {
    // Elements are so short that calling a search for each would take longer than looking.
    std::size_t separator = begin;
    while (separator < end && text[separator] != ',') {
      ++separator;
    }
    const std::string_view element = text.substr(begin, separator - begin);
    if (element.size() > kLongestElement) {
      HardStop("an array element of 8 or more characters");
    }
    if (count < capacity) {
      bytes[count] = static_cast<std::uint8_t>(DecimalValue(element));
    }
    ++count;
    begin = separator + 1;
  }
  return count;
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
