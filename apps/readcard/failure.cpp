#include "failure.h"

#include <idcardreader/status_codes.h>

#include <string_view>
#include <utility>

#include "text_encoding.h"

namespace readcard {
namespace {

constexpr Text kNoCode = {
    "There is no status code for this: the card's record may lack its photo or be of an unknown "
    "kind. The newest file in the folder errordata beside the library may tell more.",
    "没有对应的状态码：卡片记录可能缺少照片，或卡片类型未知。详情可查看动态库旁errordata文件夹中"
    "最新的文件。"};

// The interface hands out a text, not a number. The text begins with the text of the code; the
// longest one that fits is it, since one code's text may begin with another's. `codeText` holds what
// was found: the library's texts share one place.
const IdcardreaderStatusCode* CodeOf(const HostLibrary& library, std::string_view lastError,
                                     std::string& codeText) {
  const IdcardreaderStatusCode* found = nullptr;
  for (const IdcardreaderStatusCode& code : idcardreaderStatusCodes) {
    const std::string_view text = library.readCardErrorInfo(code.code);
    if (text.size() > codeText.size() && lastError.starts_with(text)) {
      codeText = text;
      found = &code;
    }
  }
  return found;
}

// Behind the code's text stands the last line of the error log, which mostly is that text again,
// with the details.
std::string_view WithoutRepetition(std::string_view lastError, std::string_view codeText) {
  const std::string_view logLine = lastError.substr(codeText.size());
  return !codeText.empty() && logLine.starts_with(codeText) ? logLine : lastError;
}

}  // namespace

Failure FetchFailure(const HostLibrary& library, Language language) {
  const std::string lastError = library.readCardGetLastError();
  std::string codeText;
  const IdcardreaderStatusCode* const code = CodeOf(library, lastError, codeText);
  std::string text = GbkToUtf8(WithoutRepetition(lastError, codeText));
  if (code == nullptr) return {std::nullopt, std::move(text), {}, kNoCode.In(language)};
  return {code->code, std::move(text), Text{code->cause, code->causeZh}.In(language),
          Text{code->cure, code->cureZh}.In(language)};
}

}  // namespace readcard
