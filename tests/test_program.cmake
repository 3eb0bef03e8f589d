# How programs with test cases are built and run, everywhere alike.
include(GoogleTest)

# orval_sandbox(variable key option...): the command, up to its "--", that runs a program in a private
# view of the file system with the key maker's libraries of the folder `key`.
function(orval_sandbox variable key)
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    list(APPEND ARGN --emulator ${CMAKE_CROSSCOMPILING_EMULATOR})
  endif()
  set(${variable} ${PROJECT_SOURCE_DIR}/tests/support/sandbox
    --tree ${PROJECT_SOURCE_DIR} --tree ${PROJECT_BINARY_DIR} --doubles ${key} ${ARGN} -- PARENT_SCOPE)
endfunction()

# Lines are what a failing test and a sanitizer show; values cost a fifth of the compile time.
set(ORVAL_TEST_DEBUG -g1 CACHE STRING
  "How test programs are compiled for a debugger: -g1 shows lines, -g values too")
set(test_options $<$<CONFIG:Debug>:${ORVAL_TEST_DEBUG}>)

# The headers that every test reads are more than most tests are. Compiled once; a flag that does not fit
# is an error. Clang, which coverage, fuzzing and the shipping build use, finds what a test forgets to
# include itself.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  file(CONFIGURE OUTPUT precompiled_headers.cpp CONTENT "int main() {}\n")
  add_executable(precompiled_headers ${CMAKE_CURRENT_BINARY_DIR}/precompiled_headers.cpp)
  # A unique symbol would keep a closed double in the process.
  target_compile_options(precompiled_headers PRIVATE -fno-gnu-unique ${test_options})
  target_precompile_headers(precompiled_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h>
    <condition_variable> <deque> <fstream> <functional> <mutex> <optional> <string> <tuple> <vector>)
  target_link_libraries(precompiled_headers PRIVATE orval_compile GTest::gmock)
endif()

# orval_test_program(name KIND kind [PREFIX prefix] [KEY folder [option...]] [RPATH folder...]
#                    SOURCES source... LIBRARIES library...)
#
# A program in tests/KIND of the build, whose cases CTest runs each in a process of its own, under the
# name of their kind unless PREFIX gives another. With KEY they run in a sandbox with that folder's
# libraries, and the program finds the product, or what RPATH names, at its place in the build.
function(orval_test_program name)
  cmake_parse_arguments(test "" "KIND;PREFIX" "KEY;RPATH;SOURCES;LIBRARIES" ${ARGN})
  add_executable(${name} ${test_SOURCES})
  target_link_libraries(${name} PRIVATE orval_compile ${test_LIBRARIES})
  set_target_properties(${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests/${test_KIND})
  target_compile_options(${name} PRIVATE ${test_options})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/support)
  if(CMAKE_CROSSCOMPILING_EMULATOR OR ORVAL_SANITIZE)
    target_compile_definitions(${name} PRIVATE ORVAL_FORKS_HANG)
  endif()
  if(TARGET precompiled_headers)
    target_compile_options(${name} PRIVATE -fno-gnu-unique)
    target_precompile_headers(${name} REUSE_FROM precompiled_headers)
  endif()
  if(test_KEY)
    orval_sandbox(sandbox ${test_KEY})
    set(rpath ${CMAKE_LIBRARY_OUTPUT_DIRECTORY} ${test_RPATH})
    set_target_properties(${name} PROPERTIES
      CROSSCOMPILING_EMULATOR "${sandbox}"
      BUILD_WITH_INSTALL_RPATH ON
      INSTALL_RPATH "${rpath}")
  endif()
  if(NOT PREFIX IN_LIST ARGN)
    set(test_PREFIX ${test_KIND}.)
  endif()
  # Found when CTest starts, not when building: a builder needs no sandbox and no emulator.
  gtest_discover_tests(${name} TEST_PREFIX "${test_PREFIX}" NO_PRETTY_VALUES
    DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 120
    PROPERTIES LABELS ${name} ENVIRONMENT LC_ALL=C)  # what the commands say is read in English
endfunction()
