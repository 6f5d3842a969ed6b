#include "platform/user_language.h"

#include <windows.h>

namespace idcardreader::platform {

bool UserReadsChinese() { return PRIMARYLANGID(GetUserDefaultUILanguage()) == LANG_CHINESE; }

}  // namespace idcardreader::platform
