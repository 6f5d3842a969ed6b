#pragma once

#include "reader/reader_device.h"

namespace idcardreader {

// The door of the product: hidapi.
ReaderDoor& SystemReaderDoor();

}  // namespace idcardreader
