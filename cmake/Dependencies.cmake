# Libraries from outside. They are kept under build/deps, shared by all build folders, or are
# taken from the system; none of their code is part of this project.

set(IDCARDREADER_DEPS ${CMAKE_SOURCE_DIR}/build/deps)

find_package(Threads REQUIRED)
include(Zlib)
include(Hidapi)
include(DevkitHeaders)
include(HttpLibrary)
include(GoogleTest)
include(GoogleTestLibrary)
