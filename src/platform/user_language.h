#pragma once

namespace idcardreader::platform {

// True when the user has set the system to Chinese, whichever script.
bool UserReadsChinese();

}  // namespace idcardreader::platform
