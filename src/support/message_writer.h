#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace idcardreader {

// Builds one flat message of the service: no blanks, no escaping, fields in the order in which they
// are added, byte arrays as signed decimals. The service takes exactly this form. The text grows as
// needed: the worst sector block takes 5,160 characters.
class MessageWriter {
 public:
  MessageWriter();

  // Starts over with an empty object, "{}".
  void Start();
  // Both return the new length of the text.
  std::size_t AddString(std::string_view key, std::string_view value);
  // Adds "data". The last element is always written: count 0 writes one element, the first byte.
  std::size_t AddData(const std::uint8_t* bytes, std::size_t count);

  const std::string& Text() const { return text; }

 private:
  void BeginField(std::string_view key);

  std::string text;
};

}  // namespace idcardreader
