# What every target of this project is compiled with.

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()
set(CMAKE_C_FLAGS_RELEASE "-O2 -DNDEBUG")
set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

set(IDCARDREADER_SANITIZERS "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them")
if(IDCARDREADER_SANITIZERS)
  set(CMAKE_C_FLAGS_RELEASE "-O1 -DNDEBUG")
  set(CMAKE_CXX_FLAGS_RELEASE "-O1 -DNDEBUG")
  add_compile_options(
    -fsanitize=${IDCARDREADER_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)
  add_link_options(-fsanitize=${IDCARDREADER_SANITIZERS})
  if(IDCARDREADER_SANITIZERS MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Asio has a fence that this sanitizer does not follow; the compiler warns of it in our sources.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wno-tsan>)
  endif()
endif()

option(IDCARDREADER_COVERAGE "Count what is executed; needs clang" OFF)
if(IDCARDREADER_COVERAGE)
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping)
  add_link_options(-fprofile-instr-generate)
endif()

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT WIN32)
  # A unique symbol would keep the library in memory after the host has unloaded it.
  add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>)
endif()

if(WIN32)
  add_compile_definitions(
    $<$<COMPILE_LANGUAGE:CXX>:_WIN32_WINNT=0x0A00> $<$<COMPILE_LANGUAGE:CXX>:WIN32_LEAN_AND_MEAN>
    $<$<COMPILE_LANGUAGE:CXX>:NOMINMAX>)
  # Everything we ship runs without the compiler's own DLLs.
  add_link_options(-static -static-libgcc -static-libstdc++)
endif()

add_library(idcardreader_warnings INTERFACE)
target_compile_options(
  idcardreader_warnings
  INTERFACE -Werror
            -Wall
            -Wextra
            -Wpedantic
            # A constructor's parameter may have the name of the member that it sets.
            $<IF:$<CXX_COMPILER_ID:GNU>,-Wshadow=local,-Wshadow>
            -Wconversion
            -Wcast-align
            -Wformat=2
            # Leaving out members that have defaults is what designated initializers are for.
            -Wno-missing-field-initializers
            $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
            $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual>)
if(IDCARDREADER_SANITIZERS AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # With the sanitizers' checks in between, GCC finds this in the standard library's <regex>.
  target_compile_options(idcardreader_warnings INTERFACE -Wno-maybe-uninitialized)
endif()
