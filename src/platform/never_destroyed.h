#pragma once

#include <cstddef>
#include <new>
#include <utility>

namespace idcardreader::platform {

// Holds a value that lives as long as the module: made at its first use, never destroyed and
// without heap memory of its own. Threads that still run while the process exits may go on using
// it, and an unloaded library leaves nothing behind. Meant for function-local statics.
template <class T>
class NeverDestroyed {
 public:
  template <class... Arguments>
  explicit NeverDestroyed(Arguments&&... arguments)
      : value(::new (static_cast<void*>(storage)) T(std::forward<Arguments>(arguments)...)) {}
  NeverDestroyed(const NeverDestroyed&) = delete;
  NeverDestroyed& operator=(const NeverDestroyed&) = delete;

  T& operator*() const { return *value; }
  T* operator->() const { return value; }

 private:
  alignas(T) std::byte storage[sizeof(T)];
  T* value;
};

}  // namespace idcardreader::platform
