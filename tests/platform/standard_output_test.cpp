#include "platform/standard_output.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include "support/eventually.h"
#include "support/redirected_output.h"
#include "support/temporary_folder.h"

#ifndef _WIN32
#include <stdlib.h>
#include <sys/socket.h>
#endif

namespace idcardreader::platform {
namespace {

using std::chrono::steady_clock;

// Nothing may be printed by the test itself while the output is redirected.
steady_clock::duration Write(int output, std::string_view text, int times = 1) {
  const RedirectedOutput redirected(output);
  const auto begin = steady_clock::now();
  for (int count = 0; count < times; ++count) WriteStandardOutput(text);
  return steady_clock::now() - begin;
}

// Far less than for ever, and enough for a machine that does other things too.
constexpr std::chrono::seconds kSoon(5);

TEST(StandardOutput, AFileGetsTheText) {
  const TemporaryFolder folder;
  const auto path = folder.path / "standard-output.txt";
  const int file = open(path.string().c_str(), O_WRONLY | O_CREAT, 0600);
  bool complete = false;
  {
    const RedirectedOutput redirected(file);
    WriteStandardOutput("one\ntwo\n");
    WriteStandardOutput("three\n");
    complete = Eventually([&] {
      return LinesOf(path) == std::vector<std::string>{"one", "two", "three"};
    });
  }
  EXPECT_TRUE(complete);
  close(file);
}

TEST(StandardOutput, IsNoFaultWhenThereIsNone) {
  EXPECT_LT(Write(kNoDescriptor, "nobody\n", 3), kSoon);
}

TEST(StandardOutput, APipeThatNobodyReadsDelaysNobody) {
  Pipe pipe;
  EXPECT_LT(Write(pipe.write, std::string(200, 'x'), 3000), kSoon);
  // It takes text again once somebody reads.
  std::atomic<bool> arrived{false};
  std::thread reader([&] { arrived = !pipe.ReadUntil("behind it\n").empty(); });
  bool written = false;
  {
    const RedirectedOutput redirected(pipe.write);
    written = Eventually([&] {
      WriteStandardOutput("behind it\n");
      return arrived.load();
    });
  }
  EXPECT_TRUE(written);
  if (!written) std::exit(1);  // the reader would never end
  reader.join();
}

#ifndef _WIN32

// Of the host's own descriptor, which others share.
bool Waits(int descriptor) { return (fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0; }

TEST(PosixStandardOutput, ASocketOrTerminalThatNobodyReadsDelaysNobody) {
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_EQ(grantpt(master) | unlockpt(master), 0);
  const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
  for (const auto& [other, output] : {std::pair(pair[0], pair[1]), std::pair(master, terminal)}) {
    EXPECT_LT(Write(output, std::string(200, 'x'), 3000), kSoon);
    close(other);
    EXPECT_LT(Write(output, "nobody\n", 3), kSoon);
    EXPECT_TRUE(Waits(output));
    close(output);
  }
}

#endif

}  // namespace
}  // namespace idcardreader::platform
