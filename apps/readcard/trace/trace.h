#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "language.h"

// What the trace command makes of one read: pure values between the logs and what is printed.
namespace readcard::trace {

using std::chrono::milliseconds;
// Local time, as the logs have it, since the beginning of 1970.
using Moment = milliseconds;

// Who is at work. The waits say for what the reader's side stood still meanwhile; somebody else is
// at work in them.
enum class Track { library, reader, service, wait };

struct StepKind {
  const char* key;  // for programs
  Track track;
  Text name;
};

struct Step {
  const StepKind* kind = nullptr;
  Moment begin{0};
  Moment end{0};
  bool derived = false;  // an end of it has no line of its own and was taken from the lines around
  bool finished = true;
  std::optional<std::size_t> sent;      // bytes
  std::optional<std::size_t> received;  // bytes
  std::vector<std::string> lines;       // of the log, UTF-8; they hold personal data

  milliseconds Duration() const { return end - begin; }
};

struct Failure {
  std::optional<int> code;
  std::string codeText;  // of the code alone
  std::string cause;
  std::string hint;
  std::string detail;  // the library's whole text, which may hold personal data
};

// The step that the read waited for longest, by the time in which nothing else was at work.
struct Longest {
  std::size_t step;
  milliseconds alone;
};

struct Trace {
  Moment begin{0};  // of loading the library
  Moment readBegin{0};
  Moment readEnd{0};
  std::vector<Step> steps;  // by their beginnings
  std::optional<Failure> failure;
  bool stopped = false;  // by the user
  bool loggingWasOn = false;
  bool logFound = true;                 // without it only the calls were measured
  std::vector<std::string> errorLines;  // of the error log, UTF-8; may hold personal data
  std::optional<std::size_t> failedStep;
  std::optional<Longest> longest;
  milliseconds idle{0};  // of the read, in which no step was at work
};

}  // namespace readcard::trace
