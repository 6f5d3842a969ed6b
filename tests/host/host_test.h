#pragma once

#include <gtest/gtest.h>

#include "host/host.h"
#include "host/record_checks.h"

namespace hosttest {

// How much later than its time-outs a read may end: what its own passes and starting threads take.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr milliseconds kSlack(1500);
#else
inline constexpr milliseconds kSlack(250);
#endif

// The card that tests use to which any good card will do.
inline constexpr char kAnyCard[] = "resident";
inline constexpr char kTypeACard[] = "other-card";

class HostTest : public testing::Test, protected Host {
 protected:
  void SetUp() override { Begin(); }
  void TearDown() override {
    End();
    EXPECT_EQ(desk.TakeComplaints(), "");
  }

  // A read that has to end within the limit; what a busy machine made late is read again.
  ReadResult ReadInTime(const std::function<void()>& prepare, milliseconds limit) {
    ReadResult read{.duration = std::chrono::microseconds::max()};
    for (int attempt = 0; attempt < 3 && read.duration > limit; ++attempt) {
      prepare();
      read = Read();
    }
    EXPECT_LE(read.duration.count(), std::chrono::microseconds(limit).count());
    return read;
  }

  // Puts the card down, reads it and checks everything that the library hands out.
  void ExpectGoodRead(const std::string& card) {
    desk.Put(card);
    const int result = Read().result;
    EXPECT_EQ(result, 1) << LastError();
    if (result == 1) ExpectRecordOf(CardOf(card), *library);
  }

  // The last error begins with the code's text.
  void ExpectCode(int code) const {
    EXPECT_TRUE(LastError().starts_with(library->readCardErrorInfo(code)))
        << "wanted " << code << ", got " << LastError();
  }

  // Lays the command-line host beside the library.
  void CopyReadcard() const {
    for (const auto& entry : std::filesystem::directory_iterator(StageFolder() / "bin")) {
      // Windows refuses a target that is there, whatever the options of the copy say.
      const std::filesystem::path target = folder.Path() / entry.path().filename();
      if (entry.path().stem() == "readcard" && !std::filesystem::exists(target)) {
        std::filesystem::copy_file(entry.path(), target);
      }
    }
  }
};

}  // namespace hosttest
