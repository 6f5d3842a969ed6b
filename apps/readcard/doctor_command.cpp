#include "doctor_command.h"

namespace readcard {

int RunDoctorCommand(const Options&, Console& console) {
  console.Complain("Not built yet.\n");
  return kUsage;
}

}  // namespace readcard
