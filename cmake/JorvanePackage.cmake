# What clients install: headers with their umbrella, the library, the CMake package and the pkg-config file.

include(CMakePackageConfigHelpers)

get_property(JV_HEADERS GLOBAL PROPERTY JV_HEADERS)
get_property(JV_C_HEADERS GLOBAL PROPERTY JV_C_HEADERS)
get_property(JV_APART_HEADERS GLOBAL PROPERTY JV_APART_HEADERS)

# The umbrella names every public header; C sees those that it can include.
set(JV_UMBRELLA_C "")
foreach(header IN LISTS JV_C_HEADERS)
  string(APPEND JV_UMBRELLA_C "#include <JorvaneFoundation/${header}>  // IWYU pragma: export\n")
endforeach()
set(JV_UMBRELLA_CXX "")
foreach(header IN LISTS JV_HEADERS)
  string(APPEND JV_UMBRELLA_CXX "#include <JorvaneFoundation/${header}>  // IWYU pragma: export\n")
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/JorvaneFoundation.h.in
  ${JV_BUILD_INCLUDE}/JorvaneFoundation/JorvaneFoundation.h @ONLY)

foreach(header IN LISTS JV_HEADERS JV_C_HEADERS JV_APART_HEADERS)
  get_filename_component(room ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header}
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/JorvaneFoundation/${room} COMPONENT development)
endforeach()
install(FILES ${JV_BUILD_INCLUDE}/JorvaneFoundation/JorvaneFoundation.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/JorvaneFoundation COMPONENT development)

set(JV_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/JorvaneFoundation)
install(TARGETS JorvaneFoundation EXPORT JorvaneFoundation
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(EXPORT JorvaneFoundation NAMESPACE JorvaneFoundation:: FILE JorvaneFoundationTargets.cmake
  DESTINATION ${JV_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/JorvaneFoundationConfig.cmake.in
  ${PROJECT_BINARY_DIR}/JorvaneFoundationConfig.cmake INSTALL_DESTINATION ${JV_PACKAGE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/JorvaneFoundationConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/JorvaneFoundationConfig.cmake
  ${PROJECT_BINARY_DIR}/JorvaneFoundationConfigVersion.cmake
  DESTINATION ${JV_PACKAGE_DIR} COMPONENT development)

# The prefix is found from the file's own place, so that an installed tree can be moved.
file(RELATIVE_PATH JV_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
string(REGEX REPLACE "/$" "" JV_PC_TO_PREFIX "${JV_PC_TO_PREFIX}")
configure_file(${PROJECT_SOURCE_DIR}/cmake/JorvaneFoundation.pc.in
  ${PROJECT_BINARY_DIR}/JorvaneFoundation.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/JorvaneFoundation.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
