# devkit_headers: the header-only libraries of the devkit and of readcard (Asio without Boost,
# nlohmann-json, CLI11).
add_library(devkit_headers INTERFACE)
target_compile_definitions(devkit_headers INTERFACE ASIO_STANDALONE)
target_link_libraries(devkit_headers INTERFACE Threads::Threads)
# These headers are much code; optimising what is made of them is most of a build, and gains nothing
# that anyone would notice.
if(IDCARDREADER_SANITIZERS)
  target_compile_options(devkit_headers INTERFACE -O0)
else()
  target_compile_options(devkit_headers INTERFACE $<$<CONFIG:Release>:-O1>)
endif()
if(WIN32)
  # The system's include folder must stay out of the cross-compiler's search path, else the headers
  # of the host's C library come along.
  set(devkitIncludes ${IDCARDREADER_DEPS}/include)
  if(NOT EXISTS ${devkitIncludes}/CLI/CLI.hpp)
    file(COPY /usr/include/asio /usr/include/asio.hpp /usr/include/nlohmann /usr/include/CLI
         DESTINATION ${devkitIncludes})
  endif()
  target_include_directories(devkit_headers SYSTEM INTERFACE ${devkitIncludes})
  target_link_libraries(devkit_headers INTERFACE ws2_32 mswsock)
endif()
