#pragma once

#include <gtest/gtest.h>

#include <algorithm>

#include "base/bytes.h"

namespace hosttest {

// A buffer and a length to be handed to the library; they show afterwards what was written.
struct OutputBuffer {
  std::uint8_t* Data() { return bytes.data(); }
  char* Text() { return reinterpret_cast<char*>(bytes.data()); }

  // Exactly this text was written, and nothing behind it.
  void ExpectText(const std::string& expected, const std::string& what) const {
    ExpectBytes(devkit::Bytes(expected.begin(), expected.end()), what);
  }
  // And its length; empty: both are as they were.
  void ExpectBlock(const devkit::Bytes& expected, const std::string& what) const {
    EXPECT_EQ(length, expected.empty() ? kLengthUntouched : expected.size()) << what;
    ExpectBytes(expected, what);
  }

  static constexpr std::uint32_t kLengthUntouched = 0xABCD1234;
  static constexpr std::uint8_t kUntouched = 0xEE;
  static constexpr std::size_t kRoom = 8192;  // more than anything takes, to see what is beyond

  std::uint32_t length = kLengthUntouched;
  devkit::Bytes bytes = devkit::Bytes(kRoom, kUntouched);

 private:
  void ExpectBytes(devkit::Bytes expected, const std::string& what) const {
    expected.resize(kRoom, kUntouched);
    const auto [here, there] = std::mismatch(bytes.begin(), bytes.end(), expected.begin());
    EXPECT_EQ(devkit::Bytes(here, bytes.end()), devkit::Bytes(there, expected.end())) << what;
  }
};

}  // namespace hosttest
