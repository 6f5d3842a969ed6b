#include "reader_model/commands.h"

namespace devkit {

std::size_t RequestLength(std::uint8_t command) {
  switch (static_cast<Command>(command)) {
    case Command::search:
    case Command::beep:
      return 2;
    case Command::inputKey:
    case Command::outputKey:
      return 9;
    case Command::file:
      return 4;
    case Command::dn:
    case Command::uid:
    case Command::uidTypeA:
    case Command::authorize:
    case Command::version:
      return 1;
  }
  return 0;
}

}  // namespace devkit
