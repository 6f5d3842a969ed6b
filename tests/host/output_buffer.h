#pragma once

#include <cstdint>
#include <string>

#include "base/bytes.h"

namespace hosttest {

// A buffer and a length to be handed to the library; they show afterwards what was written.
struct OutputBuffer {
  OutputBuffer();

  char* Text() { return reinterpret_cast<char*>(bytes.data()); }
  bool LengthUntouched() const;

  void ExpectUntouched(const std::string& what) const;
  // Exactly these bytes were written, and nothing behind them.
  void ExpectBytes(const devkit::Bytes& expected, const std::string& what) const;
  void ExpectText(const std::string& expected, const std::string& what) const;
  // The same with their number as the length; untouched when there are none.
  void ExpectBlock(const devkit::Bytes& expected, const std::string& what) const;

  devkit::Bytes bytes;
  std::uint32_t length;

 private:
  std::size_t Written() const;
};

}  // namespace hosttest
