#pragma once

#include <vector>

#include "trace/log_lines.h"

namespace readcard::trace {

// The lines of one read, each log by itself.
struct Logs {
  std::vector<LogLine> reader;
  std::vector<LogLine> server;
  std::vector<LogLine> error;
};

// The steps of the read that ended at this moment, in no order.
std::vector<Step> ReadSteps(const Logs& logs, Moment readEnd);

// Orders the steps and works out what follows from them: where it failed, the longest, the idle
// time.
void Conclude(Trace& trace);

}  // namespace readcard::trace
