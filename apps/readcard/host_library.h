#pragma once

#include <idcardreader/idcardreader.h>

#include <filesystem>
#include <memory>
#include <string>

#include "platform/dynamic_library.h"

namespace readcard {

// The functions that this program calls.
#define READCARD_FUNCTIONS(F) \
  F(readCardStart)            \
  F(readCardStop)             \
  F(readCardInit)             \
  F(readCardLog)              \
  F(readCardErrorInfo)        \
  F(readCardGetLastError)     \
  F(readCardGetDN)            \
  F(readCardGetUID)           \
  F(readCardGetCardType)      \
  F(readCardGetDeviceStatus)  \
  F(readCardSetDeviceType)    \
  F(readCardGetSdkVersion)    \
  F(SDT_OpenPort)             \
  F(SDT_SelectIDCard)         \
  F(SDT_ReadBaseFPMsg)        \
  F(InitComm)                 \
  F(Read_Content)             \
  F(Routon_ReadBaseMsg)       \
  F(HID_BeepLED)              \
  F(CloseComm)                \
  F(GetPeopleName)            \
  F(GetPeopleSex)             \
  F(GetPeopleNation)          \
  F(GetPeopleBirthday)        \
  F(GetPeopleAddress)         \
  F(GetPeopleIDCode)          \
  F(GetStartDate)             \
  F(GetEndDate)               \
  F(GetDepartment)            \
  F(GetNewCardType)           \
  F(GetNewPassNum)            \
  F(GetNewPeopleNameEn)       \
  F(GetNewPeopleCountry)      \
  F(GetNewPeopleCountryCode)  \
  F(GetNewPhotoRaw)

// The loaded library and its functions, with the types of the public header and under its names, so
// that `library.readCardStart(0)` reads as a call of the function itself.
class HostLibrary {
 public:
  // Loads the library at this path (UTF-8); an empty path stands for the one beside the program, in
  // the neighbouring lib folder, or wherever the system finds it. Null, and the reason in
  // `complaint`, when none loads or one of the functions is missing.
  static std::unique_ptr<HostLibrary> Load(const std::string& path, std::string& complaint);

  // Closes the engine before the library is unloaded, as the library asks for.
  ~HostLibrary();
  // Where it was loaded from.
  std::filesystem::path File() const { return loaded->File(); }
  HostLibrary(const HostLibrary&) = delete;
  HostLibrary& operator=(const HostLibrary&) = delete;

#define READCARD_DECLARE(name) decltype(&::name) name = nullptr;
  READCARD_FUNCTIONS(READCARD_DECLARE)
#undef READCARD_DECLARE

 private:
  explicit HostLibrary(std::unique_ptr<idcardreader::platform::DynamicLibrary> opened);
  // False, and the function's name in `complaint`, when one is missing.
  bool Bind(std::string& complaint);

  std::unique_ptr<idcardreader::platform::DynamicLibrary> loaded;
};

}  // namespace readcard
