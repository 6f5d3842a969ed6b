# hidapi::hidapi: always called as a shared library, so that another one with the same functions
# (the devkit's virtual reader) can take its place under the unchanged product.
if(WIN32)
  # Debian has no hidapi for Windows: it is built from Debian's source package.
  set(hidapiSource ${IDCARDREADER_DEPS}/hidapi-source)
  if(NOT EXISTS ${hidapiSource}/windows/hid.c)
    message(STATUS "Fetching the hidapi source package")
    execute_process(
      COMMAND ${CMAKE_SOURCE_DIR}/scripts/fetch-source-package hidapi ${hidapiSource}
              COMMAND_ERROR_IS_FATAL ANY)
  endif()

  enable_language(RC)
  add_library(hidapi SHARED ${hidapiSource}/windows/hid.c ${hidapiSource}/windows/hidapi.rc)
  set_target_properties(
    hidapi
    PROPERTIES PREFIX ""
               C_VISIBILITY_PRESET default
               C_EXTENSIONS ON
               RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/hidapi
               ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/hidapi)
  target_include_directories(hidapi SYSTEM PUBLIC ${hidapiSource} ${hidapiSource}/hidapi)
  add_library(hidapi::hidapi ALIAS hidapi)
else()
  find_path(HIDAPI_INCLUDE_DIR NAMES hidapi.h PATH_SUFFIXES hidapi REQUIRED)
  find_library(HIDAPI_LIBRARY NAMES hidapi-hidraw REQUIRED)
  add_library(hidapi::hidapi SHARED IMPORTED)
  set_target_properties(
    hidapi::hidapi PROPERTIES IMPORTED_LOCATION ${HIDAPI_LIBRARY} INTERFACE_INCLUDE_DIRECTORIES
                                                                  ${HIDAPI_INCLUDE_DIR})
endif()
