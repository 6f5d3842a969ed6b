#include <cstddef>

#include "platform/thread.h"

namespace idcardreader::platform {

namespace {

// What the deepest of our calls that touches a card's bytes needs, and small beside any stack.
constexpr std::size_t kDepth = 32 * 1024;

}  // namespace

[[gnu::noinline]] void WipeStack() {
  // A compiler may leave out writing what is never read again, unless it is volatile.
  volatile std::byte area[kDepth];
  for (volatile std::byte& place : area) place = std::byte{0};
}

}  // namespace idcardreader::platform
