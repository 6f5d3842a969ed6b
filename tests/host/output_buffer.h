#pragma once

#include <cstdint>
#include <string>

#include "base/bytes.h"

namespace hosttest {

// A buffer and a length to be handed to the library; they show afterwards what was written.
struct OutputBuffer {
  OutputBuffer();

  std::uint8_t* Data() { return bytes.data(); }
  char* Text() { return reinterpret_cast<char*>(bytes.data()); }
  void ExpectUntouched(const std::string& what) const;
  // Exactly these bytes were written, and nothing behind them.
  void ExpectBytes(const devkit::Bytes& expected, const std::string& what) const;
  void ExpectText(const std::string& expected, const std::string& what) const;
  // The same with their number as the length; untouched when there are none.
  void ExpectBlock(const devkit::Bytes& expected, const std::string& what) const;

  std::uint32_t length;

 private:
  std::size_t Written() const;

  devkit::Bytes bytes;
};

}  // namespace hosttest
