#include "platform/dynamic_library.h"

#include <gtest/gtest.h>

namespace idcardreader::platform {
namespace {

#ifdef _WIN32
constexpr const char* kSystemLibrary = "kernel32.dll";
constexpr const char* kItsFunction = "GetTickCount";
constexpr const char* kNameOfPhotoLibrary = "DLL_File.dll";
#else
constexpr const char* kSystemLibrary = "libm.so.6";
constexpr const char* kItsFunction = "cos";
constexpr const char* kNameOfPhotoLibrary = "libDLL_File.so";
#endif

TEST(DynamicLibrary, FindsTheSymbolsOfALibrary) {
  const auto library =
      DynamicLibrary::Open(kSystemLibrary, DynamicLibrary::Dependencies::default_search);
  ASSERT_NE(library, nullptr);
  EXPECT_NE(library->Symbol(kItsFunction), nullptr);
  EXPECT_EQ(library->Symbol("no_such_function"), nullptr);
}

TEST(DynamicLibrary, IsNullWhenTheLibraryDoesNotLoad) {
  for (const auto search : {DynamicLibrary::Dependencies::default_search,
                            DynamicLibrary::Dependencies::from_its_own_folder}) {
    EXPECT_EQ(DynamicLibrary::Open("no-such-library", search), nullptr);
    EXPECT_EQ(DynamicLibrary::Open("", search), nullptr);
  }
}

TEST(DynamicLibrary, IsNamedAsUsualHere) {
  EXPECT_EQ(DynamicLibraryFileName("DLL_File"), kNameOfPhotoLibrary);
}

}  // namespace
}  // namespace idcardreader::platform
