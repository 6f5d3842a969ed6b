#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace idcardreader::platform {

// Holds an object of the process, without heap memory of its own. The end of the process leaves it
// alone: threads of the host or of ours may still use it then. Destroy() ends it when the library is
// unloaded.
template <typename T>
class ProcessWide {
 public:
  template <typename... Arguments>
  explicit ProcessWide(Arguments&&... arguments) {
    ::new (static_cast<void*>(storage)) T(std::forward<Arguments>(arguments)...);
  }
  ProcessWide(const ProcessWide&) = delete;
  ProcessWide& operator=(const ProcessWide&) = delete;

  T& operator*() { return *std::launder(reinterpret_cast<T*>(storage)); }
  T* operator->() { return &**this; }
  void Destroy() { (**this).~T(); }

 private:
  alignas(T) std::byte storage[sizeof(T)];
};

}  // namespace idcardreader::platform
