#include "host/output_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace hosttest {
namespace {

using devkit::Bytes;

constexpr std::uint8_t kUntouched = 0xEE;
constexpr std::uint32_t kLengthUntouched = 0xABCD1234;
constexpr std::size_t kRoom = 8192;  // more than anything takes, to see what is written beyond

}  // namespace

OutputBuffer::OutputBuffer() : length(kLengthUntouched), bytes(kRoom, kUntouched) {}

void OutputBuffer::ExpectUntouched(const std::string& what) const {
  EXPECT_EQ(length, kLengthUntouched) << what;
  EXPECT_EQ(Written(), 0u) << what;
}

void OutputBuffer::ExpectBytes(const Bytes& expected, const std::string& what) const {
  EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(expected.size())),
            expected)
      << what;
  EXPECT_EQ(Written(), expected.size()) << what;
}

void OutputBuffer::ExpectText(const std::string& expected, const std::string& what) const {
  ExpectBytes(Bytes(expected.begin(), expected.end()), what);
}

void OutputBuffer::ExpectBlock(const Bytes& expected, const std::string& what) const {
  if (expected.empty()) return ExpectUntouched(what);
  EXPECT_EQ(length, expected.size()) << what;
  ExpectBytes(expected, what);
}

// Up to the last byte that is not as it was.
std::size_t OutputBuffer::Written() const {
  const auto last = std::find_if(bytes.rbegin(), bytes.rend(),
                                 [](std::uint8_t byte) { return byte != kUntouched; });
  return static_cast<std::size_t>(bytes.rend() - last);
}

}  // namespace hosttest
