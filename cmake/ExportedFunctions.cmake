# A header with the exported functions as a list for the preprocessor, IDCARDREADER_FUNCTIONS(F), made
# of src/api/exports.def. Whoever includes "exported_functions.h" adds exportedFunctionsFolder.

set(exportList ${CMAKE_SOURCE_DIR}/src/api/exports.def)
set(exportedFunctionsFolder ${CMAKE_BINARY_DIR}/generated)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${exportList})
file(STRINGS ${exportList} functions REGEX "^ +[A-Za-z]")
list(TRANSFORM functions STRIP)
list(TRANSFORM functions REPLACE "(.+)" "F(\\1)")
list(JOIN functions " \\\n  " functions)
file(CONFIGURE OUTPUT ${exportedFunctionsFolder}/exported_functions.h
     CONTENT "#pragma once\n\n#define IDCARDREADER_FUNCTIONS(F) \\\n  @functions@\n" @ONLY)
