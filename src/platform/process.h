#pragma once

namespace idcardreader::platform {

// True in a process that was forked from the one that loaded this library: it has the locks of
// threads that do not exist there. To be asked at the beginning of each call from the host.
bool InForkedChild();

// For destructors of static objects: they run because the process ends, not because the library is
// unloaded. Other threads may still be at work then, and the system takes everything back. Certain
// once the host has called.
bool ProcessIsEnding();

}  // namespace idcardreader::platform
