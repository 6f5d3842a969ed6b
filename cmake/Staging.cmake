# The shipped files as a user would install them, under the preset's install folder (out/linux and
# out/windows for the two release builds). Two parts, so that a single read needs no more than it
# has to: "reading" is what a host loads, "service" is the other side of the wire.

set(readingTargets idcardreader readcard virtual-reader)
set(serviceTargets decode-service datafile)
if(TARGET desk)
  list(APPEND serviceTargets desk)
endif()
if(NOT WIN32)
  list(APPEND serviceTargets serial-reader)
endif()
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
  PATTERN "*.hpp")
install(
  FILES include/idcardreader/codes.json
  DESTINATION share/idcardreader
  COMPONENT reading)

# For what is built against the library. Both find the rest from where they lie.
include(CMakePackageConfigHelpers)
write_basic_package_version_file(
  ${CMAKE_BINARY_DIR}/packages/idcardreaderConfigVersion.cmake COMPATIBILITY SameMajorVersion)
configure_file(packaging/idcardreader.pc.in ${CMAKE_BINARY_DIR}/packages/idcardreader.pc @ONLY)
install(
  FILES packaging/idcardreaderConfig.cmake
        ${CMAKE_BINARY_DIR}/packages/idcardreaderConfigVersion.cmake
  DESTINATION lib/cmake/idcardreader
  COMPONENT reading)
install(
  FILES ${CMAKE_BINARY_DIR}/packages/idcardreader.pc
  DESTINATION lib/pkgconfig
  COMPONENT reading)
install(TARGETS readcard RUNTIME DESTINATION bin COMPONENT reading)
# It goes where no loader finds it by accident: a host gets it by being started beside it.
install(
  TARGETS virtual-reader
  RUNTIME DESTINATION devkit/virtual-reader COMPONENT reading
  LIBRARY DESTINATION devkit/virtual-reader COMPONENT reading NAMELINK_SKIP
  ARCHIVE EXCLUDE_FROM_ALL DESTINATION lib COMPONENT unshipped)
install(TARGETS ${serviceTargets} RUNTIME DESTINATION bin COMPONENT service)
install(
  DIRECTORY devkit/cards devkit/scenarios
  DESTINATION devkit
  COMPONENT service)
install(
  FILES devkit/README.md
  DESTINATION devkit
  COMPONENT service)
if(NOT WIN32)
  install(
    TARGETS serial-reader
    RUNTIME DESTINATION bin COMPONENT service)
endif()

# stage_reading and stage_service build and install their part; stage does both.
foreach(part reading service)
  add_custom_target(
    stage_${part}
    COMMAND ${CMAKE_COMMAND} --install ${CMAKE_BINARY_DIR} --component ${part} >
            ${CMAKE_BINARY_DIR}/stage_${part}.log
    COMMENT "Staging ${part}")
  add_dependencies(stage_${part} ${${part}Targets})
endforeach()
# A build of its own only: one that is to be installed elsewhere, as a package's, installs nothing by
# itself.
option(IDCARDREADER_STAGE "Stage the shipped files with every build" ON)
if(IDCARDREADER_STAGE)
  add_custom_target(stage ALL)
else()
  add_custom_target(stage)
endif()
add_dependencies(stage stage_reading stage_service)
