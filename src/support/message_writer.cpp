#include "support/message_writer.h"

#include <charconv>

namespace idcardreader {
namespace {

void AppendSigned(std::string& text, std::uint8_t byte) {
  char digits[4];
  const auto end =
      std::to_chars(digits, digits + sizeof digits, int{static_cast<std::int8_t>(byte)}).ptr;
  text.append(digits, end);
}

}  // namespace

MessageWriter::MessageWriter() { Start(); }

void MessageWriter::Start() { text = "{}"; }

void MessageWriter::BeginField(std::string_view key) {
  if (text.size() == 2) {
    text.pop_back();
  } else {
    text.back() = ',';
  }
  text.append("\"").append(key).append("\":");
}

std::size_t MessageWriter::AddString(std::string_view key, std::string_view value) {
  BeginField(key);
  text.append("\"").append(value).append("\"}");
  return text.size();
}

std::size_t MessageWriter::AddData(const std::uint8_t* bytes, std::size_t count) {
  BeginField("data");
  text.push_back('[');
  for (std::size_t index = 0; index + 1 < count; ++index) {
    AppendSigned(text, bytes[index]);
    text.push_back(',');
  }
  AppendSigned(text, bytes[count == 0 ? 0 : count - 1]);
  text.append("]}");
  return text.size();
}

}  // namespace idcardreader
