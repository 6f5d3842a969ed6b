#include "support/console.h"

#include <gtest/gtest.h>

#include "support/redirected_output.h"

namespace idcardreader {
namespace {

TEST(Console, PrintsLinesUnlessItIsSwitchedOff) {
  Pipe pipe;
  const RedirectedOutput redirected(pipe.write);
  SwitchPrinting(false);
  PrintLine("off");
  SwitchPrinting(true);
  PrintLine("on");
  EXPECT_EQ(pipe.ReadUntil("\n"), "on\n");
}

}  // namespace
}  // namespace idcardreader
