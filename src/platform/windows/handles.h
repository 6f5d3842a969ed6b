#pragma once

#include <windows.h>

#include <utility>

namespace idcardreader::platform {

// Owns a handle whose "none" is null.
class UniqueHandle {
 public:
  UniqueHandle() = default;
  explicit UniqueHandle(HANDLE owned) : handle(owned) {}
  UniqueHandle(UniqueHandle&& other) noexcept : handle(std::exchange(other.handle, nullptr)) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    std::swap(handle, other.handle);
    return *this;
  }
  ~UniqueHandle() {
    if (handle != nullptr) CloseHandle(handle);
  }

  explicit operator bool() const { return handle != nullptr; }
  HANDLE Get() const { return handle; }

 private:
  HANDLE handle = nullptr;
};

// The module that this code is linked into. With addReference it stays loaded until one more
// FreeLibrary. Null on failure.
HMODULE OwnModule(bool addReference);

}  // namespace idcardreader::platform
