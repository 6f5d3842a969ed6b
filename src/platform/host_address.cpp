#include <algorithm>
#include <string>
#include <string_view>

#include "platform/socket.h"

namespace idcardreader::platform {

bool IsDottedAddress(std::string_view text) {
  for (int number = 1;; ++number) {
    const std::size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits == 0 || digits > 3) return false;
    // The systems' own converters read a leading zero as octal; 010 would reach another machine.
    if (digits > 1 && text[0] == '0') return false;
    // Of as many digits, the order of texts is that of numbers.
    if (digits == 3 && text.substr(0, 3) > "255") return false;
    text.remove_prefix(digits);
    if (number == 4) return text.empty();
    if (!text.starts_with('.')) return false;
    text.remove_prefix(1);
  }
}

bool IsReservedHostName(std::string_view name) {
  if (name.empty() || name.find('\0') != std::string_view::npos) return true;
  std::string lower(".");
  for (const char letter : name) {
    lower += letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
  }
  return lower.ends_with(".invalid") || lower.ends_with(".invalid.");
}

}  // namespace idcardreader::platform
