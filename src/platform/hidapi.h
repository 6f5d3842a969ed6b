#pragma once

#include <hidapi/hidapi.h>

#include <memory>
#include <optional>
#include <string>

namespace idcardreader::platform {

// The functions of hidapi that are used here.
struct HidApi {
  decltype(&hid_enumerate) enumerate = nullptr;
  decltype(&hid_free_enumeration) free_enumeration = nullptr;
  decltype(&hid_open) open = nullptr;
  decltype(&hid_write) write = nullptr;
  decltype(&hid_read_timeout) read_timeout = nullptr;
  decltype(&hid_close) close = nullptr;
  decltype(&hid_error) error = nullptr;  // stays null where hidapi does not offer it

  std::shared_ptr<void> library;  // which holds them, where it is not there from the beginning
};

// On Windows hidapi.dll is loaded at run time, so that a host without it gets an error of the reader
// and not a library that does not load: from where the system finds libraries (the program's folder
// and so on), else from this library's own folder. Nothing when it is not to be had; `failure` then
// names the file and the system's error, in GBK.
std::optional<HidApi> LoadHidApi(std::string& failure);

}  // namespace idcardreader::platform
