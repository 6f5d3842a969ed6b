#include "failure.h"

#include <string_view>

#include "text_encoding.h"

namespace readcard {
namespace {

struct Cure {
  int code;
  const char* cause;
  const char* text;
};

constexpr Cure kCures[] = {
#include "status_code_cures.inc"
};

// The interface hands out a text, not a number. The text begins with the text of the code; the
// longest one that fits is it, since one code's text may begin with another's. `codeText` holds what
// was found: the library's texts share one place.
std::optional<int> CodeOf(const HostLibrary& library, std::string_view lastError,
                          std::string& codeText) {
  std::optional<int> code;
  for (const Cure& cure : kCures) {
    const std::string_view text = library.readCardErrorInfo(cure.code);
    if (text.size() > codeText.size() && lastError.starts_with(text)) {
      codeText = text;
      code = cure.code;
    }
  }
  return code;
}

// Behind the code's text stands the last line of the error log, which mostly is that text again,
// with the details.
std::string_view WithoutRepetition(std::string_view lastError, std::string_view codeText) {
  const std::string_view logLine = lastError.substr(codeText.size());
  return !codeText.empty() && logLine.starts_with(codeText) ? logLine : lastError;
}

std::string HintFor(std::optional<int> code) {
  for (const Cure& cure : kCures) {
    if (code == cure.code) return cure.text;
  }
  return "There is no status code for this: the card's record may lack its photo or be of an "
         "unknown kind. The newest file in the folder errordata beside the library may tell more.";
}

}  // namespace

Failure FetchFailure(const HostLibrary& library) {
  const std::string lastError = library.readCardGetLastError();
  std::string codeText;
  const std::optional<int> code = CodeOf(library, lastError, codeText);
  return {code, GbkToUtf8(WithoutRepetition(lastError, codeText)), HintFor(code)};
}

}  // namespace readcard
