#pragma once

#include "reader/reader_device.h"

namespace idcardreader {

// The door of the product: hidapi, and the system's serial ports.
ReaderDoor& SystemReaderDoor();

}  // namespace idcardreader
