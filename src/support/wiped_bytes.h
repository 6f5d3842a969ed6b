#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace idcardreader {

// Overwrites memory before it is given back, so that no later owner of it, and no dump of the
// process, finds what it held.
template <typename Value>
struct WipingAllocator {
  using value_type = Value;

  WipingAllocator() = default;
  template <typename Other>
  WipingAllocator(const WipingAllocator<Other>&) {}

  Value* allocate(std::size_t count) { return std::allocator<Value>().allocate(count); }
  void deallocate(Value* values, std::size_t count) {
    // A compiler may leave out writing what is never read again, unless it is volatile.
    volatile Value* wiped = values;
    for (std::size_t i = 0; i < count; ++i) wiped[i] = Value();
    std::allocator<Value>().deallocate(values, count);
  }

  bool operator==(const WipingAllocator&) const = default;
};

using WipedBytes = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

}  // namespace idcardreader
