#pragma once

namespace idcardreader::platform {

// Keeps this library in memory although the host unloads it, as long as threads of ours may run in
// it. Each Pin is undone by one Unpin; the last Unpin may run only on a thread whose caller still
// holds the library (an export called by the host does), else the code would vanish under it.
bool PinModule();
void UnpinModule();

// Gives back what the language's own library holds in this module and would leave behind when it is
// unloaded. To be called last, while the module goes.
void ReleaseLanguageRuntime();

}  // namespace idcardreader::platform
