# httplib: cpp-httplib, from Debian's binary or, where that does not do – on Windows, and under the
# thread sanitizer, which has to see every lock – from Debian's source of it. Without either there is
# no desk; nothing else needs it.
if(WIN32 OR IDCARDREADER_SANITIZERS MATCHES "thread")
  set(httplibSource ${IDCARDREADER_DEPS}/cpp-httplib-source)
  if(NOT EXISTS ${httplibSource}/httplib.h)
    message(STATUS "Fetching the cpp-httplib source package")
    execute_process(
      COMMAND ${CMAKE_SOURCE_DIR}/scripts/fetch-source-package cpp-httplib ${httplibSource}
              COMMAND_ERROR_IS_FATAL ANY)
  endif()
  add_library(httplib INTERFACE)
  target_include_directories(httplib SYSTEM INTERFACE ${httplibSource})
  target_link_libraries(httplib INTERFACE $<$<BOOL:${WIN32}>:ws2_32> $<$<BOOL:${WIN32}>:crypt32>)
else()
  find_path(HTTPLIB_INCLUDE_DIR NAMES httplib.h)
  find_library(HTTPLIB_LIBRARY NAMES cpp-httplib)
  find_path(HTTPLIB_OPENSSL_DIR NAMES openssl/ssl.h)
  if(HTTPLIB_INCLUDE_DIR AND HTTPLIB_LIBRARY AND HTTPLIB_OPENSSL_DIR)
    add_library(httplib INTERFACE)
    # As the binary was built: its classes have other members without.
    target_compile_definitions(httplib INTERFACE CPPHTTPLIB_OPENSSL_SUPPORT)
    target_include_directories(httplib SYSTEM INTERFACE ${HTTPLIB_INCLUDE_DIR})
    target_link_libraries(httplib INTERFACE ${HTTPLIB_LIBRARY})
  endif()
endif()
if(NOT TARGET httplib)
  message(STATUS "cpp-httplib is not installed: no desk is built")
endif()
