#include "platform/hidapi.h"

// Null when the process's hidapi does not offer it.
#pragma weak hid_error

namespace idcardreader::platform {

// The system has loaded it together with this library.
std::optional<HidApi> LoadHidApi(std::string& /*failure*/) {
  return HidApi{hid_enumerate,    hid_free_enumeration,
                hid_open,         hid_write,
                hid_read_timeout, hid_close,
                hid_error,        nullptr};
}

}  // namespace idcardreader::platform
