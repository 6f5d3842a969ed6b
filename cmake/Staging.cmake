# The shipped files as a user would install them, under the preset's install folder (out/linux and
# out/windows for the two release builds). Two parts, so that a single read needs no more than it
# has to: "reading" is what a host loads, "service" is the other side of the wire.

set(readingTargets idcardreader readcard virtual-reader)
set(serviceTargets decode-service datafile)
if(WIN32)
  list(APPEND readingTargets hidapi)
  install(TARGETS hidapi RUNTIME DESTINATION bin COMPONENT reading)
endif()
install(
  TARGETS idcardreader
  RUNTIME DESTINATION bin COMPONENT reading
  LIBRARY DESTINATION lib COMPONENT reading
  ARCHIVE DESTINATION lib COMPONENT reading)
install(
  DIRECTORY include/idcardreader
  DESTINATION include
  COMPONENT reading
  FILES_MATCHING
  PATTERN "*.h"
  PATTERN "*.hpp"
  PATTERN "*.json")
install(
  FILES cmake/idcardreaderConfig.cmake
  DESTINATION lib/cmake/idcardreader
  COMPONENT reading)
install(TARGETS readcard RUNTIME DESTINATION bin COMPONENT reading)
# It goes where no loader finds it by accident: a host gets it by being started beside it.
install(
  TARGETS virtual-reader
  RUNTIME DESTINATION devkit/virtual-reader COMPONENT reading
  LIBRARY DESTINATION devkit/virtual-reader COMPONENT reading NAMELINK_SKIP
  ARCHIVE EXCLUDE_FROM_ALL DESTINATION lib COMPONENT unshipped)
install(TARGETS ${serviceTargets} RUNTIME DESTINATION bin COMPONENT service)
install(DIRECTORY devkit/cards devkit/scenarios DESTINATION devkit COMPONENT service)

# stage_reading and stage_service build and install their part; stage does both.
foreach(part reading service)
  add_custom_target(
    stage_${part}
    COMMAND ${CMAKE_COMMAND} --install ${CMAKE_BINARY_DIR} --component ${part} >
            ${CMAKE_BINARY_DIR}/stage_${part}.log
    COMMENT "Staging ${part}")
  add_dependencies(stage_${part} ${${part}Targets})
endforeach()
add_custom_target(stage ALL)
add_dependencies(stage stage_reading stage_service)
