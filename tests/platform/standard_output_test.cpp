#include "platform/standard_output.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "support/eventually.h"
#include "support/redirected_output.h"
#include "support/temporary_folder.h"

#ifndef _WIN32
#include <stdlib.h>
#include <sys/socket.h>
#endif

namespace idcardreader::platform {
namespace {

// Whether it ends soon: far less than for ever, and enough for a machine that does other things too.
// Nothing may be printed by the test itself while the output is redirected.
bool WritesSoon(int output, std::string_view text, int times) {
  const RedirectedOutput redirected(output);
  const auto begin = std::chrono::steady_clock::now();
  for (int count = 0; count < times; ++count) WriteStandardOutput(text);
  return std::chrono::steady_clock::now() - begin < std::chrono::seconds(5);
}

TEST(StandardOutput, AFileGetsTheText) {
  const TemporaryFolder folder;
  const auto path = folder.path / "standard-output.txt";
  const int file = open(path.string().c_str(), O_WRONLY | O_CREAT, 0600);
  EXPECT_TRUE(WritesSoon(file, "one\ntwo\n", 2));
  const std::vector<std::string> expected{"one", "two", "one", "two"};
  EXPECT_TRUE(Eventually([&] { return LinesOf(path) == expected; }));
  close(file);
}

TEST(StandardOutput, APipeThatNobodyReadsDelaysNobody) {
  EXPECT_TRUE(WritesSoon(kNoDescriptor, "nobody\n", 3));
  Pipe pipe;
  EXPECT_TRUE(WritesSoon(pipe.write, std::string(200, 'x'), 3000));
  // It takes text again once somebody reads.
  std::atomic<bool> arrived{false};
  std::thread reader([&] { arrived = !pipe.ReadUntil("behind it\n").empty(); });
  Eventually([&] { return WritesSoon(pipe.write, "behind it\n", 1) && arrived; });
  EXPECT_TRUE(arrived);
  if (!arrived) std::exit(1);  // the reader would never end
  reader.join();
}

#ifndef _WIN32

TEST(PosixStandardOutput, ASocketOrTerminalThatNobodyReadsDelaysNobody) {
  int pair[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_EQ(grantpt(master) | unlockpt(master), 0);
  const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
  for (const auto& [other, output] : {std::pair(pair[0], pair[1]), std::pair(master, terminal)}) {
    EXPECT_TRUE(WritesSoon(output, std::string(200, 'x'), 3000));
    close(other);
    EXPECT_TRUE(WritesSoon(output, "nobody\n", 3));
    EXPECT_EQ(fcntl(output, F_GETFL) & O_NONBLOCK, 0) << "the host's own, which others share";
    close(output);
  }
}

#endif

}  // namespace
}  // namespace idcardreader::platform
