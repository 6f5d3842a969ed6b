# find_package(idcardreader) offers idcardreader::idcardreader, which links the library, and
# idcardreader::loaded for programs that load it at run time. This file may lie in PREFIX/cmake,
# PREFIX/lib/cmake/idcardreader or one folder deeper: the prefix is where the header is.

set(_idcardreader_prefix ${CMAKE_CURRENT_LIST_DIR})
while(NOT EXISTS ${_idcardreader_prefix}/include/idcardreader/idcardreader.h)
  get_filename_component(_idcardreader_parent ${_idcardreader_prefix} DIRECTORY)
  if(_idcardreader_parent STREQUAL _idcardreader_prefix)
    set(idcardreader_FOUND FALSE)
    set(idcardreader_NOT_FOUND_MESSAGE "No include/idcardreader/idcardreader.h beside this package.")
    return()
  endif()
  set(_idcardreader_prefix ${_idcardreader_parent})
endwhile()

if(NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(idcardreader_FOUND FALSE)
  set(idcardreader_NOT_FOUND_MESSAGE "The library is for 64-bit programs.")
  return()
endif()

if(NOT TARGET idcardreader::idcardreader)
  if(WIN32)
    if(MSVC OR CMAKE_CXX_SIMULATE_ID STREQUAL "MSVC" OR CMAKE_C_SIMULATE_ID STREQUAL "MSVC")
      set(_idcardreader_import_library ${_idcardreader_prefix}/lib/idcardreader.lib)
    else()
      set(_idcardreader_import_library ${_idcardreader_prefix}/lib/libidcardreader.dll.a)
    endif()
    add_library(idcardreader::idcardreader SHARED IMPORTED)
    set_target_properties(
      idcardreader::idcardreader
      PROPERTIES IMPORTED_IMPLIB ${_idcardreader_import_library}
                 IMPORTED_LOCATION ${_idcardreader_prefix}/bin/idcardreader.dll)
    unset(_idcardreader_import_library)
  else()
    find_library(
      idcardreader_LIBRARY idcardreader
      PATHS ${_idcardreader_prefix}/lib/${CMAKE_LIBRARY_ARCHITECTURE} ${_idcardreader_prefix}/lib
      NO_DEFAULT_PATH)
    mark_as_advanced(idcardreader_LIBRARY)
    if(NOT idcardreader_LIBRARY)
      set(idcardreader_FOUND FALSE)
      set(idcardreader_NOT_FOUND_MESSAGE "No libidcardreader.so below ${_idcardreader_prefix}.")
      return()
    endif()
    add_library(idcardreader::idcardreader SHARED IMPORTED)
    set_target_properties(idcardreader::idcardreader PROPERTIES IMPORTED_LOCATION
                                                                ${idcardreader_LIBRARY})
  endif()
  set_target_properties(
    idcardreader::idcardreader PROPERTIES INTERFACE_INCLUDE_DIRECTORIES
                                          ${_idcardreader_prefix}/include)
endif()
if(NOT TARGET idcardreader::loaded)
  find_package(Threads REQUIRED)
  add_library(idcardreader::loaded INTERFACE IMPORTED)
  target_include_directories(idcardreader::loaded INTERFACE ${_idcardreader_prefix}/include)
  target_link_libraries(idcardreader::loaded INTERFACE Threads::Threads ${CMAKE_DL_LIBS})
endif()
unset(_idcardreader_prefix)
unset(_idcardreader_parent)
