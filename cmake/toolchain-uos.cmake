# The shipping build: clang and lld with Debian 11's C and C++ libraries, which scripts/sysroot
# fetches. Debian 12's own cross toolchain binds to newer symbols than the desktop has.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

if(DEFINED ENV{ORVAL_SYSROOT})
  set(ORVAL_SYSROOT $ENV{ORVAL_SYSROOT} CACHE PATH "What scripts/sysroot has made")
else()
  get_filename_component(default_sysroot ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot ABSOLUTE)
  set(ORVAL_SYSROOT ${default_sysroot} CACHE PATH "What scripts/sysroot has made")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORVAL_SYSROOT)
if(NOT EXISTS ${ORVAL_SYSROOT}/made-from)
  message(FATAL_ERROR "no sysroot in ${ORVAL_SYSROOT}; run scripts/sysroot first")
endif()
set(CMAKE_SYSROOT ${ORVAL_SYSROOT}/root)

set(CMAKE_C_COMPILER clang)
set(CMAKE_CXX_COMPILER clang++)
set(CMAKE_C_COMPILER_TARGET aarch64-linux-gnu)
set(CMAKE_CXX_COMPILER_TARGET aarch64-linux-gnu)
# Found without this by way of /lib, a link, the headers' paths are written as lib/.., which the build
# tool takes for others than those it knows: every build would compile everything.
set(CMAKE_C_COMPILER_EXTERNAL_TOOLCHAIN ${CMAKE_SYSROOT}/usr)
set(CMAKE_CXX_COMPILER_EXTERNAL_TOOLCHAIN ${CMAKE_SYSROOT}/usr)
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT -fuse-ld=lld)
endforeach()

set(CMAKE_CROSSCOMPILING_EMULATOR ${ORVAL_SYSROOT}/emulator)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Packages of the build machine are for the build machine.
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig)
set(GTest_DIR ${CMAKE_CURRENT_LIST_DIR}/../packaging/sysroot/googletest)
