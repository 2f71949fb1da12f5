# How the library is put together: the flags of every target, and one function a room.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

find_package(Threads REQUIRED)
find_package(PkgConfig)

# Flags of everything that is built here; clients get none of them.
add_library(jorvane_flags INTERFACE)
target_compile_options(jorvane_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  -fstack-protector-strong
  $<$<BOOL:${JV_WERROR}>:-Werror>)
target_link_options(jorvane_flags INTERFACE -Wl,-z,relro,-z,now)
# Hardening that costs nothing that can be measured. The sanitizers watch the same things better.
if(NOT JV_SANITIZE)
  target_compile_options(jorvane_flags INTERFACE
    -fstack-clash-protection
    $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},x86_64>:-fcf-protection>
    $<$<CONFIG:Release>:-U_FORTIFY_SOURCE>
    $<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
endif()
if(JV_SANITIZE)
  target_compile_options(jorvane_flags INTERFACE
    -fsanitize=${JV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(jorvane_flags INTERFACE -fsanitize=${JV_SANITIZE})
  if(JV_SANITIZE MATCHES "undefined")
    # This check makes a pipe to see whether memory can be read, and so reports objects that are all right when a test
    # has used up the descriptors.
    target_compile_options(jorvane_flags INTERFACE -fno-sanitize=vptr)
    target_link_options(jorvane_flags INTERFACE -fno-sanitize=vptr)
  endif()
endif()

# The objects are compiled once. The shared library is what clients get; the archive serves tests, benchmarks and fuzz
# targets that look behind the exported names.
add_library(jorvane_objects OBJECT)
add_library(JorvaneFoundation SHARED)
add_library(JorvaneFoundation::JorvaneFoundation ALIAS JorvaneFoundation)
add_library(jorvane_internal STATIC EXCLUDE_FROM_ALL)

set_target_properties(jorvane_objects PROPERTIES
  POSITION_INDEPENDENT_CODE ON
  C_VISIBILITY_PRESET hidden
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON)
target_link_libraries(jorvane_objects PRIVATE jorvane_flags)

# Public headers include each other as clients do, <JorvaneFoundation/room/header.h>; private ones as "room/header.h".
set(JV_BUILD_INCLUDE ${PROJECT_BINARY_DIR}/include)
file(MAKE_DIRECTORY ${JV_BUILD_INCLUDE}/JorvaneFoundation)
target_include_directories(jorvane_objects PRIVATE ${JV_BUILD_INCLUDE} ${PROJECT_SOURCE_DIR})
target_compile_definitions(jorvane_objects PRIVATE JV_VERSION_TEXT="${PROJECT_VERSION}")

target_link_libraries(JorvaneFoundation PRIVATE jorvane_objects jorvane_flags)
target_include_directories(JorvaneFoundation INTERFACE
  $<BUILD_INTERFACE:${JV_BUILD_INCLUDE}>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set(JV_VERSION_SCRIPT ${PROJECT_SOURCE_DIR}/cmake/JorvaneFoundation.map)
target_link_options(JorvaneFoundation PRIVATE -Wl,--version-script=${JV_VERSION_SCRIPT})
if(NOT JV_SANITIZE)  # the sanitizers' run-time is found when the program is linked
  target_link_options(JorvaneFoundation PRIVATE -Wl,-z,defs)
endif()
set_target_properties(JorvaneFoundation PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_DEPENDS ${JV_VERSION_SCRIPT}
  LINKER_LANGUAGE CXX)

target_link_libraries(jorvane_internal PUBLIC jorvane_objects jorvane_flags Threads::Threads)
target_include_directories(jorvane_internal INTERFACE ${JV_BUILD_INCLUDE} ${PROJECT_SOURCE_DIR})

# jv_room(NAME [SOURCES …] [HEADERS …] [C_HEADERS …] [APART_HEADERS …])
#   SOURCES        what is compiled into the library
#   HEADERS        public headers for C++
#   C_HEADERS      public headers that C includes as well
#   APART_HEADERS  public headers for both that the umbrella header leaves out
# Called from the room's own folder.
function(jv_room NAME)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;HEADERS;C_HEADERS;APART_HEADERS")
  if(ARG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "jv_room(${NAME}): unknown arguments ${ARG_UNPARSED_ARGUMENTS}")
  endif()
  list(TRANSFORM ARG_SOURCES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  target_sources(jorvane_objects PRIVATE ${ARG_SOURCES})
  file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${JV_BUILD_INCLUDE}/JorvaneFoundation/${NAME} SYMBOLIC)
  list(TRANSFORM ARG_HEADERS PREPEND ${NAME}/)
  list(TRANSFORM ARG_C_HEADERS PREPEND ${NAME}/)
  list(TRANSFORM ARG_APART_HEADERS PREPEND ${NAME}/)
  set_property(GLOBAL APPEND PROPERTY JV_HEADERS ${ARG_HEADERS})
  set_property(GLOBAL APPEND PROPERTY JV_C_HEADERS ${ARG_C_HEADERS})
  set_property(GLOBAL APPEND PROPERTY JV_APART_HEADERS ${ARG_APART_HEADERS})
endfunction()

# jv_module(NAME SOURCES … PACKAGES …)
# A shared object that the library loads when it first needs it, from the folder JorvaneFoundation beside itself. PACKAGES
# are the names that pkg-config knows the system libraries by; without one of them the module is left out, and with it
# what it answers.
function(jv_module NAME)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "" "SOURCES;PACKAGES")
  set(target jorvane_module_${NAME})
  if(PKG_CONFIG_FOUND)
    pkg_check_modules(${target} IMPORTED_TARGET QUIET ${ARG_PACKAGES})
  endif()
  if(NOT ${target}_FOUND)
    list(JOIN ARG_PACKAGES ", " packages)
    message(STATUS "Module ${NAME} is left out: it needs ${packages}")
    return()
  endif()
  add_library(${target} MODULE ${ARG_SOURCES})
  target_include_directories(${target} PRIVATE ${JV_BUILD_INCLUDE} ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${target} PRIVATE JV_VERSION_TEXT="${PROJECT_VERSION}")
  target_link_libraries(${target} PRIVATE JorvaneFoundation::JorvaneFoundation jorvane_flags PkgConfig::${target})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${NAME}
    PREFIX ""
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/JorvaneFoundation
    INSTALL_RPATH "$ORIGIN/..")
  set_property(GLOBAL APPEND PROPERTY JV_MODULES ${target})
  install(TARGETS ${target} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/JorvaneFoundation COMPONENT modules)
endfunction()
