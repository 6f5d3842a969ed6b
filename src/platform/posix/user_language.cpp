#include "platform/user_language.h"

#include <cstdlib>
#include <string_view>

namespace idcardreader::platform {

// The first of them that is set decides, as everywhere on this system.
bool UserReadsChinese() {
  for (const char* variable : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
    const char* value = std::getenv(variable);
    if (value != nullptr && *value != '\0') return std::string_view(value).starts_with("zh");
  }
  return false;
}

}  // namespace idcardreader::platform
