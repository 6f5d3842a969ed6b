#include <string>

#include "platform/socket.h"

namespace idcardreader::platform {

bool IsDottedAddress(const std::string& text) {
  int numbers = 0;
  std::size_t position = 0;
  while (true) {
    int value = 0;
    std::size_t digits = 0;
    while (position < text.size() && text[position] >= '0' && text[position] <= '9') {
      value = value * 10 + (text[position] - '0');
      if (++digits > 3) return false;
      ++position;
    }
    if (digits == 0 || value > 255) return false;
    // The systems' own converters read a leading zero as octal; 010 would reach another machine.
    if (digits > 1 && text[position - digits] == '0') return false;
    ++numbers;
    if (position == text.size()) return numbers == 4;
    if (text[position] != '.' || numbers == 4) return false;
    ++position;
  }
}

}  // namespace idcardreader::platform
