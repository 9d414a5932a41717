# The kinds of target this project has, each with its compiler settings.

add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Werror -fno-omit-frame-pointer)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(project_options INTERFACE -Wthread-safety)
endif()
target_include_directories(project_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(project_options INTERFACE Threads::Threads)
if(TOLVANE_SANITIZE OR CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_definitions(project_options INTERFACE TOLVANE_CHECK_LOCKS) # see Mutex::assertHeld
endif()
if(TOLVANE_SANITIZE)
  target_compile_options(project_options INTERFACE -fsanitize=${TOLVANE_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(project_options INTERFACE -fsanitize=${TOLVANE_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU") # with sanitizers it finds fault with the standard library and with indices in range
    target_compile_options(project_options INTERFACE -Wno-maybe-uninitialized -Wno-array-bounds)
  endif()
endif()

# declare_room(NAME): the folder of the calling CMakeLists.txt and below is the library NAME, which sees what ARG_USES
# (in its headers) and ARG_PRIVATE (in its sources alone) name. close_rooms() makes the build hold every include against it.
macro(declare_room name)
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  list(JOIN ARG_USES "," shown)
  list(JOIN ARG_PRIVATE "," hidden)
  set_property(GLOBAL APPEND_STRING PROPERTY rooms "${folder}|${name}|${shown}|${hidden}\n")
  set_property(GLOBAL APPEND PROPERTY room_targets ${name})
endmacro()

function(close_rooms)
  get_property(rooms GLOBAL PROPERTY rooms)
  get_property(targets GLOBAL PROPERTY room_targets)
  file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/rooms.txt CONTENT "${rooms}" @ONLY)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/*.h ${PROJECT_SOURCE_DIR}/src/*.cpp
       ${PROJECT_SOURCE_DIR}/virtual/*.h ${PROJECT_SOURCE_DIR}/virtual/*.cpp)
  add_custom_command(OUTPUT ${PROJECT_BINARY_DIR}/rooms.stamp
    COMMAND python3 ${PROJECT_SOURCE_DIR}/tools/check_rooms.py ${PROJECT_BINARY_DIR}/rooms.txt
    COMMAND ${CMAKE_COMMAND} -E touch ${PROJECT_BINARY_DIR}/rooms.stamp
    DEPENDS ${sources} ${PROJECT_BINARY_DIR}/rooms.txt ${PROJECT_SOURCE_DIR}/tools/check_rooms.py
    COMMENT "Checking which room sees which" VERBATIM)
  add_custom_target(rooms DEPENDS ${PROJECT_BINARY_DIR}/rooms.stamp)
  foreach(target ${targets})
    get_target_property(kind ${target} TYPE)
    if(NOT kind STREQUAL "INTERFACE_LIBRARY")
      add_dependencies(${target} rooms)
    endif()
  endforeach()
endfunction()

# firmware_library(NAME SOURCES ... USES ... PRIVATE ...): one folder of src/ as a static library. USES names the
# libraries whose headers its own headers include, PRIVATE those that its sources alone see.
function(firmware_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES;PRIVATE" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  declare_room(${name})
  target_link_libraries(${name} PUBLIC project_options ${ARG_USES} PRIVATE ${ARG_PRIVATE})
  target_compile_options(${name} PRIVATE -fno-exceptions -fno-rtti)
endfunction()

# virtual_library(NAME SOURCES ... USES ... PRIVATE ... LIBRARIES ...): the same for one folder of virtual/. LIBRARIES are
# other projects'.
function(virtual_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES;PRIVATE;LIBRARIES" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  declare_room(${name})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC project_options ${ARG_USES} PRIVATE ${ARG_PRIVATE} ${ARG_LIBRARIES})
endfunction()

# For tests that look at what reaches the bus; results are asked for where they can be anything but 0. Linked, since it
# has to stand behind the warnings that it takes back: set(TEST_OPTIONS drops_results) in the tests' folder.
add_library(drops_results INTERFACE)
target_compile_options(drops_results INTERFACE -Wno-unused-result)

# Most of a build goes into tests, and they are not what has to be fast.
add_library(test_options INTERFACE)
if(TOLVANE_SANITIZE OR CMAKE_BUILD_TYPE STREQUAL "Debug")
  target_compile_options(test_options INTERFACE -O0)
else()
  target_compile_options(test_options INTERFACE -O1)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU") # with precompiled headers GCC 12 finds fault with sums of std::string
    target_compile_options(test_options INTERFACE -Wno-array-bounds -Wno-stringop-overflow -Wno-restrict)
  endif()
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT CMAKE_CXX_COMPILER_LAUNCHER) # ccache could keep nothing that reads them
  file(WRITE ${PROJECT_BINARY_DIR}/test_headers.cpp "")
  add_library(test_headers OBJECT ${PROJECT_BINARY_DIR}/test_headers.cpp)
  target_link_libraries(test_headers PRIVATE project_options test_options GTest::gtest)
  target_precompile_headers(test_headers PRIVATE <gtest/gtest.h>
    <algorithm> <cmath> <cstring> <fstream> <functional> <map> <random> <regex> <sstream> <string> <thread> <vector>)
endif()

# How much longer than in a release build a test may take, also on a slow and busy machine.
set(TEST_TIME_FACTOR 1)
if(TOLVANE_SANITIZE)
  set(TEST_TIME_FACTOR 5)
endif()

# instrument_test(NAME SOURCES ... USES ... [SANDBOX] [TIMEOUT s] [LABELS ...]): a GoogleTest program as one CTest test.
# SANDBOX runs it in a fresh unit's file tree with a private network, where /tolvane, port 18 and the rest are its own.
function(instrument_test name)
  cmake_parse_arguments(ARG "SANDBOX" "TIMEOUT" "SOURCES;USES;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE project_options test_options ${TEST_OPTIONS} ${ARG_USES} GTest::gtest GTest::gtest_main)
  if(TARGET test_headers)
    target_precompile_headers(${name} REUSE_FROM test_headers)
  endif()
  if(ARG_SANDBOX)
    add_test(NAME ${name} COMMAND ${PROJECT_SOURCE_DIR}/virtual/sandbox/sandbox --private-network -- $<TARGET_FILE:${name}>)
  else()
    add_test(NAME ${name} COMMAND ${name})
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  math(EXPR ARG_TIMEOUT "${ARG_TIMEOUT} * ${TEST_TIME_FACTOR}")
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT})
  if(ARG_LABELS)
    set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}")
  endif()
endfunction()
