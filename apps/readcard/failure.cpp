#include "failure.h"

#include <string_view>

#include "text_encoding.h"

namespace readcard {
namespace {

struct Hint {
  int firstCode;
  int lastCode;
  const char* text;
};

constexpr Hint kHints[] = {
    {2, 2, "The system has no thread or memory left: close other programs and try again."},
    {3, 3, "No network socket could be made: check the system's network set-up."},
    {7, 20,
     "The connection to the decode service broke or the service was silent: check network and "
     "firewall, then read again."},
    {22, 22,
     "The service did not send the card's content: read again; if it stays so, ask the operator of "
     "the service."},
    {26, 26, "The system has no thread or memory left: close other programs and try again."},
    {27, 27,
     "Plug the reader in; check vid and pid in conf.yaml; on Linux check that you may read and "
     "write its device node."},
    {28, 28, "Close other programs that use the reader; on Linux check that you may use it."},
    {29, 29,
     "The decode service cannot be reached: check appid.dat and hostport.dat beside the library, "
     "name resolution and firewall."},
    {30, 31, "Read again; if it stays so, unplug the reader and plug it in again."},
    {32, 39, "Lay one card flat on the reader, leave it there, and read again."},
    {40, 40, "Lay a card on the reader, leave it there, and read again."},
    {44, 45,
     "The service refused the card's data: read again (an expired login is renewed then); if it "
     "stays so, ask the operator of the service."},
    {46, 46, "The service was too slow: read again."},
    {47, 47, "Plug the reader in and read again."},
    {48, 48, "Check comnum and comport in conf.yaml, and that the port is free."},
    {49, 50,
     "The login to the decode service failed: check network and firewall, then read again."},
    {51, 51,
     "The service refused the login: check appid.dat beside the library with the operator of the "
     "service."},
    {55, 55, "The content came damaged: read again."},
};

constexpr int kFirstFailureCode = 2;
constexpr int kLastFailureCode = 55;

// The interface hands out a text, not a number. The text begins with the text of the code; the
// longest one that fits is it, since one code's text may begin with another's. `codeText` holds what
// was found: the library's texts share one place.
std::optional<int> CodeOf(const HostLibrary& library, std::string_view lastError,
                          std::string& codeText) {
  std::optional<int> code;
  for (int candidate = kFirstFailureCode; candidate <= kLastFailureCode; ++candidate) {
    const std::string_view text = library.readCardErrorInfo(candidate);
    if (text.size() > codeText.size() && lastError.starts_with(text)) {
      codeText = text;
      code = candidate;
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
  for (const Hint& hint : kHints) {
    if (code && *code >= hint.firstCode && *code <= hint.lastCode) return hint.text;
  }
  return "There is no status code for this: the card's record may lack its photo or be of an "
         "unknown "
         "kind. The newest file in the folder errordata beside the library may tell more.";
}

}  // namespace

Failure FetchFailure(const HostLibrary& library) {
  const std::string lastError = library.readCardGetLastError();
  std::string codeText;
  const std::optional<int> code = CodeOf(library, lastError, codeText);
  return {code, GbkToUtf8(WithoutRepetition(lastError, codeText)), HintFor(code)};
}

}  // namespace readcard
