#pragma once

#include <memory>
#include <string>

#include "doctor/conf_check.h"
#include "doctor/findings.h"
#include "platform/dynamic_library.h"

namespace readcard::doctor {

// What the reader tells about itself, hexadecimal; empty when it was not reached.
struct ReaderIdentity {
  std::string authorizeCode;
  std::string version;
};

// hidapi as the library in this folder gets it; null, with a finding, when it does not load.
std::unique_ptr<idcardreader::platform::DynamicLibrary> CheckHidApi(
    const std::filesystem::path& libraryFolder, Findings& findings);

// Looks for the reader, opens it, asks for authorize code and version, and closes it.
ReaderIdentity CheckUsbReader(const idcardreader::platform::DynamicLibrary& hidApi,
                              const ConfSettings& settings, Findings& findings);
ReaderIdentity CheckSerialReader(const ConfSettings& settings, Findings& findings);

}  // namespace readcard::doctor
