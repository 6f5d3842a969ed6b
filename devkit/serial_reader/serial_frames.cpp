#include "serial_reader/serial_frames.h"

#include <algorithm>
#include <utility>

namespace devkit {

std::optional<Bytes> SerialFrames::Feed(std::uint8_t byte, Moment now) {
  if (now - lastByte >= kSilence) frame.clear();
  lastByte = now;
  frame.push_back(byte);
  // An unknown command stands alone; the reader refuses it.
  const std::size_t length = std::max<std::size_t>(1, RequestLength(frame.front()));
  if (frame.size() < length) return std::nullopt;
  return std::exchange(frame, Bytes());
}

}  // namespace devkit
