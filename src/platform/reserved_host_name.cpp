#include "platform/reserved_host_name.h"

#include <string_view>

namespace idcardreader::platform {

bool IsReservedHostName(const std::string& name) {
  if (name.empty() || name.find('\0') != std::string::npos) return true;
  std::string_view rest = name;
  if (rest.back() == '.') rest.remove_suffix(1);
  constexpr std::string_view kDomain = "invalid";
  if (rest.size() < kDomain.size()) return false;
  const std::size_t start = rest.size() - kDomain.size();
  if (start > 0 && rest[start - 1] != '.') return false;
  for (std::size_t i = 0; i < kDomain.size(); ++i) {
    const char letter = rest[start + i];
    const char lower = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 32) : letter;
    if (lower != kDomain[i]) return false;
  }
  return true;
}

}  // namespace idcardreader::platform
