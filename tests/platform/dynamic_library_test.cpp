#include "platform/dynamic_library.h"

#include <gtest/gtest.h>

namespace idcardreader::platform {
namespace {

#ifdef _WIN32
constexpr const char* kSystemLibrary = "kernel32.dll";
constexpr const char* kItsFunction = "GetTickCount";
#else
constexpr const char* kSystemLibrary = "libm.so.6";
constexpr const char* kItsFunction = "cos";
#endif

TEST(DynamicLibrary, FindsTheSymbolsOfALibraryThatLoads) {
  using Dependencies = DynamicLibrary::Dependencies;
  const auto library = DynamicLibrary::Open(kSystemLibrary, Dependencies::default_search);
  ASSERT_NE(library, nullptr);
  EXPECT_NE(library->Symbol(kItsFunction), nullptr);
  EXPECT_EQ(library->Symbol("no_such_function"), nullptr);
  for (const auto search : {Dependencies::default_search, Dependencies::from_its_own_folder}) {
    EXPECT_EQ(DynamicLibrary::Open("no-such-library", search), nullptr);
    EXPECT_EQ(DynamicLibrary::Open("", search), nullptr);
  }
}

}  // namespace
}  // namespace idcardreader::platform
