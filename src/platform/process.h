#pragma once

#include <cstddef>

namespace idcardreader::platform {

// True in a process that was forked from the one that loaded this library: it has the locks of
// threads that do not exist there. To be asked at the beginning of each call from the host.
bool InForkedChild();

// For destructors of static objects: they run because the process ends, not because the library is
// unloaded. Other threads may still be at work then, and the system takes everything back. Certain
// once the host has called.
bool ProcessIsEnding();

// Keeps this library in memory although the host unloads it, as long as threads of ours may run in
// it. Each Pin is undone by one Unpin; the last Unpin may run only on a thread whose caller still
// holds the library (an export called by the host does), else the code would vanish under it.
void PinModule();
void UnpinModule();

// Gives back what the language's own library holds in this module and would leave behind when it is
// unloaded. To be called last, while the module goes.
void ReleaseLanguageRuntime();

// How many bytes of a block that malloc has given may have been written.
std::size_t HeapBlockSize(void* block);

}  // namespace idcardreader::platform
