#include "platform/hidapi.h"

namespace idcardreader::platform {

// The system has loaded it together with this library.
std::optional<HidApi> LoadHidApi(std::string& /*failure*/) {
  return HidApi{hid_enumerate, hid_free_enumeration, hid_open,
                hid_write,     hid_read_timeout,     hid_close,
                nullptr};
}

}  // namespace idcardreader::platform
