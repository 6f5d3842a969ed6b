#pragma once

#include "reader/reader_device.h"

namespace idcardreader {

// The door of the product: hidapi, and the system's serial ports. It is used by one thread at a time.
ReaderDoor& SystemReaderDoor();

// When the library is unloaded.
void ReleaseSystemReaderDoor();

}  // namespace idcardreader
