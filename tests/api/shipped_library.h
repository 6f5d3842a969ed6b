#pragma once

#include <idcardreader/idcardreader.h>

#include <filesystem>
#include <memory>

#include "platform/dynamic_library.h"

namespace apitest {

// Every function that the library offers, by the types of the public header.
#define IDCARDREADER_FUNCTIONS(F) \
  F(readCardInit)                 \
  F(readCardDestory)              \
  F(readCardLog)                  \
  F(readCardStart)                \
  F(readCardStop)                 \
  F(readCardErrorInfo)            \
  F(readCardGetLastError)         \
  F(readCardGetDN)                \
  F(readCardGetUID)               \
  F(readCardGetVersionCode)       \
  F(readCardGetAuthorizeCode)     \
  F(readCardGetHostDeviceCode)    \
  F(readCardGetSdkVersion)        \
  F(readCardGetComSet)            \
  F(readCardGetDeviceStatus)      \
  F(readCardGetCardType)          \
  F(readCardSetDeviceType)        \
  F(readCardBeep)                 \
  F(SDT_ReadBaseMsg)              \
  F(SDT_ReadBaseFPMsg)            \
  F(SDT_ReadBaseMsgFingerPrint)   \
  F(SDT_ReadFPMsg)                \
  F(CloseComm)                    \
  F(GetPeopleName)                \
  F(GetPeopleSex)                 \
  F(GetPeopleNation)              \
  F(GetPeopleBirthday)            \
  F(GetPeopleAddress)             \
  F(GetPeopleIDCode)              \
  F(GetStartDate)                 \
  F(GetEndDate)                   \
  F(GetDepartment)                \
  F(GetNewCardType)               \
  F(GetNewPeopleName)             \
  F(GetNewPeopleSex)              \
  F(GetNewPeopleNation)           \
  F(GetNewPeopleBirthday)         \
  F(GetNewPeopleAddress)          \
  F(GetNewPeopleIDCode)           \
  F(GetNewStartDate)              \
  F(GetNewEndDate)                \
  F(GetNewDepartment)             \
  F(GetNewPassNum)                \
  F(GetNewPeopleNameEn)           \
  F(GetNewPeopleCountryCode)      \
  F(GetNewPeopleCountry)          \
  F(GetNewPhotoRaw)

// The shipped library, loaded at run time as a host does that was built without it.
class ShippedLibrary {
 public:
  // Throws std::runtime_error when it does not load or lacks a function.
  explicit ShippedLibrary(const std::filesystem::path& file);

  void* Symbol(const char* name) const { return library->Symbol(name); }

#define IDCARDREADER_DECLARE(name) decltype(&::name) name = nullptr;
  IDCARDREADER_FUNCTIONS(IDCARDREADER_DECLARE)
#undef IDCARDREADER_DECLARE

 private:
  std::unique_ptr<idcardreader::platform::DynamicLibrary> library;
};

}  // namespace apitest
