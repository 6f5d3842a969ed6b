#pragma once

#include <string>

#include "trace/trace.h"

namespace readcard::trace {

// Nothing of a card stands in these but by `withData`, which shows what the logs hold and says so.
std::string TraceText(const Trace& trace, Language language, bool withData);
// One document on one line; docs/hosts.md describes its members.
std::string TraceJson(const Trace& trace, Language language, bool withData);
// A picture that needs nothing else.
std::string TraceSvg(const Trace& trace, Language language, bool withData);

// Sentences that text and picture share.
std::string Headline(const Trace& trace, Language language);
std::string LongestText(const Trace& trace, Language language);  // may be empty
std::string FailedStepText(const Trace& trace, Language language);
extern const Text kWithDataWarning;
extern const Text kCauseLabel;
extern const Text kCureLabel;

}  // namespace readcard::trace
