#include "text_encoding.h"

#include "platform/code_page.h"

namespace readcard {

std::string GbkToUtf8(std::string_view gbk) {
  return idcardreader::platform::Utf16ToUtf8(idcardreader::platform::GbkToUtf16(gbk));
}

}  // namespace readcard
