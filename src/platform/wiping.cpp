#include "platform/wiping.h"

#include <cstring>

namespace idcardreader::platform {

namespace {

// What the deepest of our calls that touches a card's bytes needs, and small beside any stack.
constexpr std::size_t kDepth = 32 * 1024;

// The ways in which copies of different sizes use the processor's registers.
constexpr std::size_t kCopySizes[] = {16, 32, 64, 128, 256, 1024};

// A compiler may leave out writing what is never read again, unless it does not know what writes.
void* (*const volatile fill)(void*, int, std::size_t) = &std::memset;
void* (*const volatile copy)(void*, const void*, std::size_t) = &std::memmove;

}  // namespace

void Wipe(void* bytes, std::size_t count) { fill(bytes, 0, count); }

[[gnu::noinline]]
#if __has_cpp_attribute(gnu::zero_call_used_regs)
[[gnu::zero_call_used_regs("all")]]
#endif
void WipeStack() {
  std::byte area[kDepth];
  fill(area, 0, sizeof area);
  // What was copied last is still in the registers, and they are saved on the stack soon after: by a
  // signal, or when the loader binds a function.
  for (const std::size_t size : kCopySizes) copy(area, area + sizeof area / 2, size);
}

}  // namespace idcardreader::platform
