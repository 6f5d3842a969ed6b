# GTest::gtest_main and GTest::gmock. Debian's binary serves the plain Linux build; everything else
# (Windows, sanitizers, the other compiler) builds Debian's source of it. Without either there are no
# tests; reading a card needs none.
if(WIN32
   OR IDCARDREADER_SANITIZERS
   OR NOT CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  if(EXISTS /usr/src/googletest/CMakeLists.txt)
    set(INSTALL_GTEST OFF)
    set(BUILD_GMOCK ON)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
  endif()
else()
  find_package(GTest QUIET)
endif()
if(NOT TARGET GTest::gmock)
  message(STATUS "GoogleTest is not installed: no tests are built")
endif()
