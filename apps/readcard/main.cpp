#include <string>

#include "beep_command.h"
#include "configuration.h"
#include "console.h"
#include "doctor/doctor_command.h"
#include "host_library.h"
#include "options.h"
#include "read_command.h"
#include "trace/trace_command.h"
#include "uid_command.h"
#include "watch_command.h"

namespace readcard {
namespace {

int Run(const HostLibrary& library, const Options& options, Console& console) {
  constexpr int kSerialReader = 1;
  library.readCardGetSdkVersion();  // creates the engine
  if (!options.serialPort.empty()) library.readCardSetDeviceType(kSerialReader);
  switch (options.command) {
    case Command::watch:
      return RunWatchCommand(library, options, console);
    case Command::uid:
      return RunUidCommand(library, options, console);
    case Command::beep:
      return RunBeepCommand(library, options, console);
    case Command::read:
    default:
      break;
  }
  return RunReadCommand(library, options, console);
}

}  // namespace
}  // namespace readcard

int main(int argumentCount, char** arguments) {
  using namespace readcard;
  const ParsedOptions parsed = ParseOptions(Utf8Arguments(argumentCount, arguments));
  if (!parsed.run) return parsed.exitStatus;

  // Asked before the console takes the standard output over.
  const auto outputState = idcardreader::platform::StandardOutputState();
  Console console(parsed.options.verbose);
  if (parsed.options.command == Command::doctor) {
    return RunDoctorCommand(parsed.options, outputState, console);
  }
  if (parsed.options.command == Command::trace) return RunTraceCommand(parsed.options, console);
  std::string complaint;
  const std::string& serialPort = parsed.options.serialPort;
  if (!serialPort.empty() && !ConfigureSerialPort(serialPort, complaint)) {
    console.Complain(complaint + "\n");
    return kUsage;
  }
  const auto library = HostLibrary::Load(parsed.options.library, complaint);
  if (!library) {
    console.Complain(complaint + "\n");
    return kUsage;
  }
  return Run(*library, parsed.options, console);
}
