#pragma once

#include <idcardreader/idcardreader.h>

#include <filesystem>
#include <memory>

#include "platform/dynamic_library.h"

namespace hosttest {

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
  F(SDT_OpenPort)                 \
  F(SDT_ClosePort)                \
  F(SDT_ResetSAM)                 \
  F(SDT_GetSAMStatus)             \
  F(SDT_SetMaxRFByte)             \
  F(SDT_SetCOMBaud)               \
  F(SDT_GetCOMBaud)               \
  F(SDT_GetErrorString)           \
  F(SDT_GetSAMID)                 \
  F(SDT_GetSAMIDToStr)            \
  F(SDT_ReadIINSNDN)              \
  F(SDT_ReadIINSNDNToASCII)       \
  F(SDT_ReadMngInfo)              \
  F(SDT_ReadNewAppMsg)            \
  F(SDT_StartFindIDCard)          \
  F(SDT_SelectIDCard)             \
  F(SDT_ReadBaseMsg)              \
  F(SDT_ReadBaseFPMsg)            \
  F(SDT_ReadBaseMsgFingerPrint)   \
  F(SDT_ReadBaseMsgToFile)        \
  F(SDT_ReadBaseFPMsgToFile)      \
  F(SDT_ReadFPMsg)                \
  F(InitComm)                     \
  F(Routon_IC_FindCard)           \
  F(Routon_Set210Update)          \
  F(Routon_SetNewVersion)         \
  F(Routon_StartFindIDCard)       \
  F(Authenticate)                 \
  F(Read_Content)                 \
  F(ReadIINSNDN)                  \
  F(dewlt)                        \
  F(HID_BeepLED)                  \
  F(Routon_BeepLED)               \
  F(Routon_Get210Version)         \
  F(Routon_ReadBaseMsg)           \
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

}  // namespace hosttest
