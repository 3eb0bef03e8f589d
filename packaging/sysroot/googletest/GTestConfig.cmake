# GoogleTest for a toolchain that has no package of it: the sources of Debian's package googletest,
# compiled like the tests that use them. Makes the targets that CMake's own module makes.
if(TARGET GTest::gtest)
  return()
endif()

set(googletest_sources /usr/src/googletest)
if(NOT EXISTS ${googletest_sources}/CMakeLists.txt)
  set(GTest_FOUND FALSE)
  set(GTest_NOT_FOUND_MESSAGE "${googletest_sources} is missing; install the package googletest")
  return()
endif()

# In a scope of its own: what its sources need is not for those who look for it.
function(add_googletest)
  set(INSTALL_GTEST OFF)
  set(CMAKE_CXX_VISIBILITY_PRESET default)
  set(CMAKE_POLICY_DEFAULT_CMP0077 NEW)
  add_subdirectory(${googletest_sources} ${PROJECT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
endfunction()
add_googletest()
set_target_properties(gtest gtest_main gmock gmock_main PROPERTIES
  ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/archive)
