// The shipped library's own operators new and delete. A delete overwrites the whole block first, so
// that nothing of a card stays behind in memory that was given back, whatever held it: texts, blocks,
// queues, and what a container leaves when it grows. No other program that links this library's parts
// gets them.

#include <cstdlib>
#include <new>

#include "platform/process.h"
#include "platform/wiping.h"

namespace {

void* Allocate(std::size_t size) {
  for (;;) {
    if (void* const block = std::malloc(size == 0 ? 1 : size)) return block;
    const std::new_handler makeRoom = std::get_new_handler();
    if (makeRoom == nullptr) throw std::bad_alloc();
    makeRoom();
  }
}

void* TryToAllocate(std::size_t size) noexcept {
  try {
    return Allocate(size);
  } catch (...) {
    return nullptr;
  }
}

void Release(void* block) noexcept {
  if (block == nullptr) return;
  using namespace idcardreader::platform;
  Wipe(block, HeapBlockSize(block));
  std::free(block);
}

}  // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return TryToAllocate(size); }
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return TryToAllocate(size);
}

void operator delete(void* block) noexcept { Release(block); }
void operator delete[](void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t) noexcept { Release(block); }
void operator delete[](void* block, std::size_t) noexcept { Release(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { Release(block); }
void operator delete[](void* block, const std::nothrow_t&) noexcept { Release(block); }
