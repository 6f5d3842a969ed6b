#include "support/message_fields.h"

#include <algorithm>
#include <cstdlib>

#include "support/hard_stop.h"

namespace idcardreader {
namespace {

constexpr std::size_t kLongestKey = 29;
constexpr std::size_t kLongestElement = 7;

}  // namespace

std::size_t FindKey(std::string_view text, std::string_view key) {
  if (key.size() > kLongestKey) {
    HardStop("a message key of 30 or more characters");
  }
  const std::size_t found = text.find('"' + std::string(key) + '"');
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

std::optional<std::string_view> ReadTrailingString(std::string_view text, std::string_view key) {
  const std::size_t begin = FindKey(text, key);
  const std::size_t end = begin < text.size() ? text.find("\"}", begin + 1) : kKeyNotFound;
  if (end == kKeyNotFound) {
    return std::nullopt;
  }
  return text.substr(begin + 1, end - begin - 1);
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
  std::string_view rest = text.substr(begin, end - begin);
  std::uint32_t count = 0;
  while (!rest.empty()) {
    const std::size_t size = std::min(rest.find(','), rest.size());
    if (size > kLongestElement) {
      HardStop("an array element of 8 or more characters");
    }
    if (count < capacity) {
      char element[kLongestElement + 1] = {};
      rest.copy(element, size);
      bytes[count] = static_cast<std::uint8_t>(std::atoi(element));
    }
    ++count;
    rest.remove_prefix(std::min(size + 1, rest.size()));
  }
  return count;
}

std::string_view ReadObject(std::string_view text, std::string_view key) {
  const std::size_t begin = FindKey(text, key);
  if (begin == kKeyNotFound) {
    return {};
  }
  const std::size_t end = text.find('}', begin);
  return end == std::string_view::npos ? std::string_view() : text.substr(begin, end - begin + 1);
}

void MessageWriter::AddField(std::string_view key, std::string_view value) {
  text.pop_back();
  text.append(text.size() == 1 ? "\"" : ",\"").append(key).append("\":").append(value).append("}");
}

void MessageWriter::AddString(std::string_view key, std::string_view value) {
  AddField(key, '"' + std::string(value) + '"');
}

void MessageWriter::AddData(const std::uint8_t* bytes, std::size_t count) {
  std::string array;
  for (std::size_t index = 0; index < std::max<std::size_t>(count, 1); ++index) {
    array += index == 0 ? "[" : ",";
    array += std::to_string(static_cast<std::int8_t>(bytes[index]));
  }
  AddField("data", array + "]");
}

}  // namespace idcardreader
