#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace idcardreader::platform {

// A host without standard streams leaves their numbers free. A descriptor of ours under such a
// number would get what the process prints; it is exchanged for a higher one. -1 when there is none.
inline int AboveStandardStreams(int descriptor) {
  constexpr int kFirstFree = STDERR_FILENO + 1;
  if (descriptor < 0 || descriptor >= kFirstFree) return descriptor;
  const int moved = fcntl(descriptor, F_DUPFD_CLOEXEC, kFirstFree);
  ::close(descriptor);
  return moved;
}

}  // namespace idcardreader::platform
