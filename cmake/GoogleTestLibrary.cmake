# GTest::gtest_main and GTest::gmock. Debian's binary serves the plain Linux build; everything else
# (Windows, sanitizers, the other compiler) builds Debian's source of it.
if(WIN32
   OR IDCARDREADER_SANITIZERS
   OR NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  set(INSTALL_GTEST OFF)
  set(BUILD_GMOCK ON)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
else()
  find_package(GTest REQUIRED)
endif()
