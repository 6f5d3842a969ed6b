#pragma once

#include <idcardreader/idcardreader.h>

#include <memory>
#include <string>

#include "platform/dynamic_library.h"

namespace readcard {

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
  HostLibrary(const HostLibrary&) = delete;
  HostLibrary& operator=(const HostLibrary&) = delete;

  decltype(&::readCardStart) readCardStart = nullptr;
  decltype(&::readCardErrorInfo) readCardErrorInfo = nullptr;
  decltype(&::readCardGetLastError) readCardGetLastError = nullptr;
  decltype(&::readCardGetDN) readCardGetDN = nullptr;
  decltype(&::readCardGetSdkVersion) readCardGetSdkVersion = nullptr;
  decltype(&::SDT_ReadBaseFPMsg) SDT_ReadBaseFPMsg = nullptr;
  decltype(&::CloseComm) CloseComm = nullptr;
  decltype(&::GetPeopleName) GetPeopleName = nullptr;
  decltype(&::GetPeopleSex) GetPeopleSex = nullptr;
  decltype(&::GetPeopleNation) GetPeopleNation = nullptr;
  decltype(&::GetPeopleBirthday) GetPeopleBirthday = nullptr;
  decltype(&::GetPeopleAddress) GetPeopleAddress = nullptr;
  decltype(&::GetPeopleIDCode) GetPeopleIDCode = nullptr;
  decltype(&::GetStartDate) GetStartDate = nullptr;
  decltype(&::GetEndDate) GetEndDate = nullptr;
  decltype(&::GetDepartment) GetDepartment = nullptr;
  decltype(&::GetNewCardType) GetNewCardType = nullptr;
  decltype(&::GetNewPassNum) GetNewPassNum = nullptr;
  decltype(&::GetNewPeopleNameEn) GetNewPeopleNameEn = nullptr;
  decltype(&::GetNewPeopleCountry) GetNewPeopleCountry = nullptr;
  decltype(&::GetNewPeopleCountryCode) GetNewPeopleCountryCode = nullptr;
  decltype(&::GetNewPhotoRaw) GetNewPhotoRaw = nullptr;

 private:
  explicit HostLibrary(std::unique_ptr<idcardreader::platform::DynamicLibrary> opened);
  // False, and the function's name in `complaint`, when one is missing.
  bool Bind(std::string& complaint);

  std::unique_ptr<idcardreader::platform::DynamicLibrary> loaded;
};

}  // namespace readcard
