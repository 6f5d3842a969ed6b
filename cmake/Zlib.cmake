# ZLIB::ZLIB: the system's shared library on Linux, linked into our DLL on Windows.
if(WIN32)
  find_library(ZLIB_LIBRARY NAMES libz.a REQUIRED)
endif()
find_package(ZLIB REQUIRED)
