# The kinds of target this project has, each with its compiler settings.

add_library(project_options INTERFACE)
target_compile_options(project_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Werror -fno-omit-frame-pointer)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(project_options INTERFACE -Wthread-safety)
endif()
target_include_directories(project_options INTERFACE ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(project_options INTERFACE Threads::Threads)
if(TOLVANE_SANITIZE)
  target_compile_options(project_options INTERFACE -fsanitize=${TOLVANE_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(project_options INTERFACE -fsanitize=${TOLVANE_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU") # with sanitizers it finds fault with the standard library's <regex>
    target_compile_options(project_options INTERFACE -Wno-maybe-uninitialized)
  endif()
endif()

# firmware_library(NAME SOURCES ... USES ...): one folder of src/ as a static library. USES names the libraries that it
# may lean on; a library that is not named does not link.
function(firmware_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC project_options ${ARG_USES})
  target_compile_options(${name} PRIVATE -fno-exceptions -fno-rtti)
endfunction()

# instrument_test(NAME SOURCES ... USES ... [SANDBOX] [TIMEOUT s] [LABELS ...]): a GoogleTest program as one CTest test.
# SANDBOX runs it in a fresh unit's file tree with a private network, where /tolvane, port 18 and the rest are its own.
function(instrument_test name)
  cmake_parse_arguments(ARG "SANDBOX" "TIMEOUT" "SOURCES;USES;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PRIVATE project_options ${ARG_USES} GTest::gtest GTest::gtest_main)
  if(ARG_SANDBOX)
    add_test(NAME ${name} COMMAND ${PROJECT_SOURCE_DIR}/virtual/sandbox/sandbox --private-network -- $<TARGET_FILE:${name}>)
  else()
    add_test(NAME ${name} COMMAND ${name})
  endif()
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT})
  if(ARG_LABELS)
    set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABELS}")
  endif()
endfunction()
