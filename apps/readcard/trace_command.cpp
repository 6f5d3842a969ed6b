#include "trace_command.h"

namespace readcard {

int RunTraceCommand(const Options&, Console& console) {
  console.Complain("Not built yet.\n");
  return kUsage;
}

}  // namespace readcard
