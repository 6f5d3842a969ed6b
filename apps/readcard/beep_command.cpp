#include "beep_command.h"

#include "card_output.h"
#include "failure.h"

namespace readcard {

int RunBeepCommand(const HostLibrary& library, const Options& options, Console& console) {
  constexpr int kLost = 3;
  const bool opened = library.readCardInit() != 0;
  // The sound itself has no result but that the reader may be found lost.
  if (opened) library.HID_BeepLED(1, 1, static_cast<std::int32_t>(options.beepMilliseconds));
  if (opened && library.readCardGetDeviceStatus() != kLost) {
    console.Print(options.json ? "{\"ok\":true}\n"
                               : "The reader was told to sound for " +
                                     std::to_string(options.beepMilliseconds) + " ms.\n");
    return kAllRead;
  }
  ReportFailure(FetchFailure(library), options, console);
  return kReadFailed;
}

}  // namespace readcard
