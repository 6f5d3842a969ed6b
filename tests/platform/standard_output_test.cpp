#include "platform/standard_output.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <thread>

#include "support/eventually.h"
#include "support/redirected_output.h"

#ifndef _WIN32
#include <fcntl.h>
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
  const auto path = std::filesystem::current_path() / "standard-output.txt";
  const int file = OpenForWriting(path);
  bool complete = false;
  {
    const RedirectedOutput redirected(file);
    WriteStandardOutput("one\ntwo\n");
    WriteStandardOutput("three\n");
    complete = Eventually([&] {
      std::ifstream stream(path);
      return std::string{std::istreambuf_iterator<char>(stream), {}} == "one\ntwo\nthree\n";
    });
  }
  EXPECT_TRUE(complete);
  CloseDescriptor(file);
  std::filesystem::remove(path);
}

TEST(StandardOutput, APipeGetsTheText) {
  Pipe pipe;
  const RedirectedOutput redirected(pipe.write);
  WriteStandardOutput("read this\n");
  EXPECT_EQ(pipe.ReadUntil("read this\n"), "read this\n");
}

TEST(StandardOutput, APipeWithoutAReaderAndNoOutputAtAllAreNoFault) {
  Pipe pipe;
  pipe.CloseReader();
  EXPECT_LT(Write(pipe.write, "nobody\n", 3), kSoon);
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

TEST(PosixStandardOutput, ASocketThatNobodyReadsDelaysNobody) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  EXPECT_LT(Write(ends[1], std::string(200, 'x'), 3000), kSoon);
  CloseDescriptor(ends[0]);
  EXPECT_LT(Write(ends[1], "nobody\n", 3), kSoon);
  EXPECT_TRUE(Waits(ends[1]));
  CloseDescriptor(ends[1]);
}

TEST(PosixStandardOutput, ATerminalThatNobodyReadsDelaysNobody) {
  const int master = posix_openpt(O_RDWR | O_NOCTTY);
  ASSERT_EQ(grantpt(master) | unlockpt(master), 0);
  const int terminal = open(ptsname(master), O_RDWR | O_NOCTTY);
  EXPECT_LT(Write(terminal, std::string(200, 'x'), 3000), kSoon);
  CloseDescriptor(master);
  EXPECT_LT(Write(terminal, "nobody\n", 3), kSoon);
  EXPECT_TRUE(Waits(terminal));
  CloseDescriptor(terminal);
}

#endif

}  // namespace
}  // namespace idcardreader::platform
