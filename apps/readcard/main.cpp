#include <string>

#include "console.h"
#include "host_library.h"
#include "options.h"
#include "read_command.h"

int main(int argumentCount, char** arguments) {
  using namespace readcard;
  const ParsedOptions parsed = ParseOptions(Utf8Arguments(argumentCount, arguments));
  if (!parsed.run) return parsed.exitStatus;

  Console console(parsed.options.verbose);
  std::string complaint;
  const auto library = HostLibrary::Load(parsed.options.library, complaint);
  if (!library) {
    console.Complain(complaint + "\n");
    return kUsage;
  }
  return RunReadCommand(*library, parsed.options, console);
}
