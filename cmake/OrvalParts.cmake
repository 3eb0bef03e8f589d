# Which parts are built beside the library, and what each needs. The presets and whoever says ON get a
# part or an error; AUTO leaves out what something is missing for, and says so.

# orval_part(OPTION what): a project that takes this one in gets the library alone unless it asks.
function(orval_part option what)
  set(default OFF)
  if(PROJECT_IS_TOP_LEVEL)
    set(default AUTO)
  endif()
  set(${option} ${default} CACHE STRING
    "Build ${what}: ON, OFF, or AUTO, where everything for it is installed")
  set_property(CACHE ${option} PROPERTY STRINGS AUTO ON OFF)
endfunction()

# orval_settle(OPTION what (FOUND package)...): turns AUTO into ON or OFF. FOUND names a variable that is
# true when what Debian's package brings is there.
function(orval_settle option what)
  set(missing)
  while(ARGN)
    list(POP_FRONT ARGN found package)
    if(NOT ${found})
      list(APPEND missing ${package})
    endif()
  endwhile()
  list(JOIN missing ", " packages)
  if(NOT missing)
    set(${option} ON PARENT_SCOPE)
  elseif(${option} STREQUAL "AUTO")
    message(NOTICE "Left out: ${what}. Missing, by Debian's names: ${packages}.")
    set(${option} OFF PARENT_SCOPE)
  else()
    message(FATAL_ERROR "Cannot build ${what}. Missing, by Debian's names: ${packages}. "
      "Install what is missing, or leave this part out with -D${option}=OFF.")
  endif()
endfunction()

orval_part(ORVAL_SOFTKEY "the software key and its commands")
orval_part(ORVAL_UKEYCTL "the command ukeyctl")
if(ORVAL_SOFTKEY OR ORVAL_UKEYCTL)
  # They are header-only, and the build machine's serve for any target.
  find_path(ORVAL_CLI11_FOLDER CLI/CLI.hpp NO_CMAKE_FIND_ROOT_PATH)
  find_path(ORVAL_JSON_FOLDER nlohmann/json.hpp NO_CMAKE_FIND_ROOT_PATH)
  set(for_commands
    ORVAL_CLI11_FOLDER libcli11-dev
    ORVAL_JSON_FOLDER nlohmann-json3-dev)
endif()
if(ORVAL_SOFTKEY)
  find_package(OpenSSL 3.0 QUIET COMPONENTS Crypto)
  find_package(SQLite3 QUIET)
  find_path(ORVAL_TOML_FOLDER toml++/toml.h NO_CMAKE_FIND_ROOT_PATH)
  orval_settle(ORVAL_SOFTKEY "the software key"
    OpenSSL_FOUND "libssl-dev (3.0 or newer)"
    SQLite3_FOUND libsqlite3-dev
    ORVAL_TOML_FOLDER libtomlplusplus-dev
    ${for_commands})
endif()
if(ORVAL_UKEYCTL)
  # A shipped command brings it: the desktop's C and C++ libraries are all that it may ask for.
  if(ORVAL_SYSROOT)
    set(ZLIB_USE_STATIC_LIBS ON)
  endif()
  find_package(ZLIB QUIET)
  orval_settle(ORVAL_UKEYCTL "ukeyctl" ZLIB_FOUND zlib1g-dev ${for_commands})
endif()

orval_part(ORVAL_TESTS "the tests")
if(ORVAL_TESTS)
  find_package(GTest QUIET)
  set(needed GTest_FOUND libgtest-dev)
  if(TARGET GTest::gmock)
    set(GMock_FOUND TRUE)
  endif()
  list(APPEND needed GMock_FOUND libgmock-dev)
  # What the software key makes is judged by a library that it does not use. There is none for a
  # foreign target.
  if(ORVAL_SOFTKEY AND NOT CMAKE_CROSSCOMPILING)
    find_package(PkgConfig QUIET)
    list(APPEND needed PkgConfig_FOUND pkg-config)
    if(PkgConfig_FOUND)
      pkg_check_modules(BOTAN QUIET IMPORTED_TARGET botan-2)
      list(APPEND needed BOTAN_FOUND libbotan-2-dev)
    endif()
  endif()
  orval_settle(ORVAL_TESTS "the tests" ${needed})
endif()
