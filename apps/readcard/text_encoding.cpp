#include "text_encoding.h"

#include "platform/code_page.h"

namespace readcard {

std::string GbkToUtf8(std::string_view gbk) {
  return idcardreader::platform::Utf16ToUtf8(idcardreader::platform::GbkToUtf16(gbk));
}

std::string PathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

}  // namespace readcard
