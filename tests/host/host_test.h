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

class HostTest : public testing::Test, protected Host {
 protected:
  void SetUp() override { Begin(); }
  void TearDown() override;

  // A read that has to end within the limit. What a busy machine made late is prepared and read
  // again, twice at most.
  ReadResult ReadInTime(const std::function<void()>& prepare, milliseconds limit);
  // Puts the card down, reads it and checks everything that the library hands out.
  void ExpectGoodRead(const std::string& card);
  // The last error begins with the code's text.
  void ExpectCode(int code) const;

  // Lays the command-line host beside the library.
  void CopyReadcard() const;
};

// The card that tests use to which any good card will do.
inline constexpr char kAnyCard[] = "resident";
inline constexpr char kTypeACard[] = "other-card";

}  // namespace hosttest
