#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace idcardreader {

// Reads the narrow JSON-like texts of the service by plain search: the first textual match of the
// quoted key counts, wherever it stands, and nothing is unescaped. A general JSON reader would see
// other values in the same texts.
//
// Two faults end the process (see hard_stop.h): a key of 30 or more characters, and an array
// element of 8 or more.

inline constexpr std::size_t kKeyNotFound = std::string_view::npos;
inline constexpr std::uint32_t kArrayNotFound = 0xFFFFFFFF;

// The position just after the colon that follows the key.
std::size_t FindKey(std::string_view text, std::string_view key);

// A value as the service and the content carry it: a text in double quotes ends at the next double
// quote, anything else at the first "}". Nothing when the key or the end is missing.
std::optional<std::string_view> ReadValue(std::string_view text, std::string_view key);

// A string that is the last field of its object: the character after the colon is skipped without a
// look, the value ends at the first double quote that a "}" follows.
std::optional<std::string_view> ReadTrailingString(std::string_view text, std::string_view key);

// An array of decimal numbers, each read as atoi would and stored as its low 8 bits. Returns the
// number of elements (0 for "[]"), or kArrayNotFound. Elements beyond the capacity are counted, not
// stored; a comma at the end is followed by no element.
std::uint32_t ReadByteArray(std::string_view text, std::string_view key, std::uint8_t* bytes,
                            std::size_t capacity);

// Everything from just after the colon up to and including the first "}"; empty when the key or the
// end is missing.
std::string_view ReadObject(std::string_view text, std::string_view key);

// Builds one flat message of the service: no blanks, no escaping, fields in the order in which they
// are added, byte arrays as signed decimals. The service takes exactly this form.
class MessageWriter {
 public:
  void AddString(std::string_view key, std::string_view value);
  // Adds "data". The last element is always written: count 0 writes one element, the first byte.
  void AddData(const std::uint8_t* bytes, std::size_t count);

  const std::string& Text() const { return text; }

 private:
  void AddField(std::string_view key, std::string_view value);

  std::string text = "{}";
};

}  // namespace idcardreader
