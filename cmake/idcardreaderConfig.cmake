# Found beside the installed files. idcardreader::idcardreader links the library,
# idcardreader::loaded is for programs that load it at run time.
get_filename_component(_idcardreader "${CMAKE_CURRENT_LIST_DIR}/../../.." ABSOLUTE)
find_package(Threads REQUIRED)

if(NOT TARGET idcardreader::loaded)
  add_library(idcardreader::loaded INTERFACE IMPORTED)
  target_include_directories(idcardreader::loaded INTERFACE "${_idcardreader}/include")
  target_compile_features(idcardreader::loaded INTERFACE cxx_std_20)
  target_compile_options(idcardreader::loaded INTERFACE $<$<CXX_COMPILER_ID:MSVC>:/utf-8>)
  target_link_libraries(idcardreader::loaded INTERFACE Threads::Threads ${CMAKE_DL_LIBS})

  add_library(idcardreader::idcardreader SHARED IMPORTED)
  if(WIN32)
    set_target_properties(
      idcardreader::idcardreader
      PROPERTIES IMPORTED_LOCATION "${_idcardreader}/bin/idcardreader.dll"
                 IMPORTED_IMPLIB "${_idcardreader}/lib/libidcardreader.dll.a")
  else()
    set_target_properties(idcardreader::idcardreader
                          PROPERTIES IMPORTED_LOCATION "${_idcardreader}/lib/libidcardreader.so")
  endif()
  target_include_directories(idcardreader::idcardreader INTERFACE "${_idcardreader}/include")
endif()
unset(_idcardreader)
