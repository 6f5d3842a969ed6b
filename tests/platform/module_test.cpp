#include "platform/module.h"

#include <gtest/gtest.h>

namespace idcardreader::platform {
namespace {

TEST(Module, InAProgramPinningSucceedsAndDoesNoHarm) {
  ASSERT_TRUE(PinModule());
  ASSERT_TRUE(PinModule());
  UnpinModule();
  UnpinModule();
  EXPECT_TRUE(PinModule());
  UnpinModule();
}

}  // namespace
}  // namespace idcardreader::platform
