#include <nlohmann/json.hpp>
#include <utility>

#include "trace/log_lines.h"
#include "trace/step_kinds.h"
#include "trace/trace_output.h"

namespace readcard::trace {
namespace {

using nlohmann::ordered_json;

template <typename Value>
ordered_json OrNull(const std::optional<Value>& value) {
  return value ? ordered_json(*value) : ordered_json();
}

ordered_json StepJson(const Trace& trace, const Step& step, Language language, bool withData) {
  ordered_json document = {{"step", step.kind->key},
                           {"name", step.kind->name.In(language)},
                           {"track", TrackName(step.kind->track)},
                           {"begin", (step.begin - trace.begin).count()},
                           {"milliseconds", step.Duration().count()},
                           {"derived", step.derived},
                           {"finished", step.finished}};
  if (step.sent) document["sent"] = *step.sent;
  if (step.received) document["received"] = *step.received;
  if (withData) document["lines"] = step.lines;
  return document;
}

}  // namespace

std::string TraceJson(const Trace& trace, Language language, bool withData) {
  ordered_json document = {{"ok", !trace.failure.has_value()},
                           {"started", MomentText(trace.begin)},
                           {"readBegin", (trace.readBegin - trace.begin).count()},
                           {"milliseconds", (trace.readEnd - trace.readBegin).count()},
                           {"idleMilliseconds", trace.idle.count()},
                           {"longest", nullptr},
                           {"stopped", trace.stopped},
                           {"logFound", trace.logFound},
                           {"loggingWasOn", trace.loggingWasOn},
                           {"withData", withData}};
  if (trace.longest) {
    document["longest"] = {{"step", trace.steps[trace.longest->step].kind->key},
                           {"milliseconds", trace.longest->alone.count()}};
  }
  if (trace.failure) {
    document["code"] = OrNull(trace.failure->code);
    document["error"] = withData ? trace.failure->detail : trace.failure->codeText;
    document["cause"] = trace.failure->cause;
    document["hint"] = trace.failure->hint;
    document["failedStep"] = nullptr;
    if (trace.failedStep) document["failedStep"] = trace.steps[*trace.failedStep].kind->key;
  }
  ordered_json steps = ordered_json::array();
  for (const Step& step : trace.steps) {
    steps.push_back(StepJson(trace, step, language, withData));
  }
  document["steps"] = std::move(steps);
  if (withData) document["errorLog"] = trace.errorLines;
  return document.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace readcard::trace
