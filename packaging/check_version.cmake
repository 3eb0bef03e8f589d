# Holds the version of CMakeLists.txt and that of Debian's changelog together.
#
#   cmake -D VERSION=... -D CHANGELOG=... -P check_version.cmake
file(STRINGS ${CHANGELOG} entry LIMIT_COUNT 1)
string(REPLACE "." "\\." version ${VERSION})
if(NOT entry MATCHES "^orval-unified-kpxukey \\(${version}-[0-9]+\\) ")
  message(FATAL_ERROR "${CHANGELOG} begins with \"${entry}\", and CMakeLists.txt says ${VERSION}")
endif()
