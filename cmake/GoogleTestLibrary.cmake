# GTest::gtest_main and GTest::gmock, from Debian's binary or, where that does not do – on another
# system, and under the thread sanitizer, which has to see every lock – from Debian's source of it.
# Without either there are no tests; reading a card needs none.
if(CMAKE_CROSSCOMPILING OR IDCARDREADER_SANITIZERS MATCHES "thread")
  if(EXISTS /usr/src/googletest/CMakeLists.txt)
    set(INSTALL_GTEST OFF)
    add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL SYSTEM)
    foreach(library gtest gtest_main gmock)
      target_compile_options(${library} PRIVATE -O0) # takes a quarter of the time to compile
    endforeach()
  endif()
else()
  find_package(GTest QUIET)
endif()
if(NOT TARGET GTest::gmock)
  message(STATUS "GoogleTest is not installed: no tests are built")
endif()
