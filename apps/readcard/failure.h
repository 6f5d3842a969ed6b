#pragma once

#include <optional>
#include <string>

#include "host_library.h"
#include "language.h"

namespace readcard {

// Why a read failed and what to do about it.
struct Failure {
  std::optional<int> code;  // the status code, where the library's text begins with a code's text
  std::string text;         // the library's text, UTF-8
  std::string cause;        // empty without a code
  std::string hint;         // what to do next
};

Failure FetchFailure(const HostLibrary& library, Language language = Language::english);

}  // namespace readcard
