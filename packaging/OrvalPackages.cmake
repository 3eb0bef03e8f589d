# The Debian packages, by CPack: five for developers in the system's own folders, and the store
# application, which lies in a folder of its own. scripts/package drives both.

set(package_names
  runtime liborval-unified-kpxukey
  dev liborval-unified-kpxukey-dev
  tools ukeyctl
  softkey orval-softkey)
if(TARGET python_package)
  list(APPEND package_names python python3-orval-ukey)
endif()
set(application com.kpx.orvalunified)

set(changelog ${CMAKE_CURRENT_BINARY_DIR}/changelog.gz)
orval_compress(${CMAKE_CURRENT_SOURCE_DIR}/deb/changelog ${changelog})
add_custom_target(package_texts ALL DEPENDS ${changelog})

# ------------------------------------------------------- packages for developers

set(CPACK_COMPONENTS_ALL)
while(package_names)
  list(POP_FRONT package_names component package)
  string(TOUPPER ${component} key)
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${package})
  install(FILES deb/copyright ${changelog}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package} COMPONENT ${component})
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/deb/${package}.lintian-overrides)
    install(FILES deb/${package}.lintian-overrides
      DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides COMPONENT ${component}
      RENAME ${package})
  endif()
endwhile()

set(same_version "(= ${PROJECT_VERSION})")
set(library ${CPACK_DEBIAN_RUNTIME_PACKAGE_NAME})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# CPack would add scripts that run ldconfig, where a trigger is enough and the rule; it does so for
# libraries whose dependencies it looks up. This one's are looked up in packing.cmake.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/deb/triggers)
configure_file(deb/packing.cmake.in ${CMAKE_CURRENT_BINARY_DIR}/packing.cmake @ONLY)
set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_BINARY_DIR}/packing.cmake)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"C interface to a customer's USB cryptographic key
A bank's client loads this library to reach the certificates and private keys
(SM2, SM3, SM4) on its customer's USB key.
.
The key maker's own libraries are not part of this package. They come with the
key, in /opt/apps/com.kpx.uosorval; orval-softkey stands in for them where
there is no key.")

set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
# It brings a library of its own, whose dependencies are looked up like the other one's.
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEV_PACKAGE_CONTROL_EXTRA ${CMAKE_CURRENT_SOURCE_DIR}/deb/triggers)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "${library} ${same_version}")
# The linker takes the software key's token library where the key maker's is not installed.
set(CPACK_DEBIAN_DEV_PACKAGE_RECOMMENDS "orval-softkey ${same_version}")
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "pkg-config")
set(CPACK_COMPONENT_DEV_DESCRIPTION
"development files for clients of a USB cryptographic key
The C header, its C++17 wrapper ukey.hpp, liborval_lint, which checks texts
before they are handed over, pkg-config files, a CMake package, the manual
pages, the guides with examples, and the reference of liborval_unified_kpxukey.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${library} ${same_version}")
# For record and replay alone.
set(CPACK_DEBIAN_TOOLS_PACKAGE_RECOMMENDS "bubblewrap")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION
"support command for a customer's USB cryptographic key
ukeyctl shows what library and key a computer has, reads and changes what is on
the key, makes certificate requests and imports certificates, signs and
decrypts, and explains the key's codes. It records what a client calls of the
key maker's libraries, and replays it without a key.")

set(CPACK_DEBIAN_SOFTKEY_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_SOFTKEY_PACKAGE_DEPENDS
  "${library} ${same_version}, pinentry-curses | pinentry")
# with-softkey makes its view with it; where none can be made, it has another way.
set(CPACK_DEBIAN_SOFTKEY_PACKAGE_RECOMMENDS "bubblewrap, ukeyctl ${same_version}")
set(CPACK_COMPONENT_SOFTKEY_DESCRIPTION
"USB cryptographic key in software, for developers without the hardware
Stand-ins for the key maker's two libraries, with real SM2, SM3 and SM4, a
durable store and a key's PIN rules. softkey makes, plugs and unplugs such
keys, softca issues certificates for them, and with-softkey runs a program as
if the key were there.
.
Nothing is installed in the key maker's own directory, unless root asks for it
with 'with-softkey --install'.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
# Request descriptions and certificate packages are looked at by the library of the development package.
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= 3.9), ${library} ${same_version}, ${library}-dev ${same_version}")
# For the pytest plug-in alone.
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS
  "orval-softkey ${same_version}, python3-pytest, ukeyctl ${same_version}")
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS "python3-pytest-xdist")
set(CPACK_COMPONENT_PYTHON_DESCRIPTION
"USB cryptographic key from Python, and a pytest plug-in for its clients
orval_ukey calls every function of liborval_unified_kpxukey under its name,
with codes as exceptions, typed results and secrets that are wiped. Texts that
would end the process are not handed over.
.
Its pytest plug-in gives each test software keys, an authority and a view of
the file system of its own, in which it runs a client in any language, and
shows what was called of the key when a test fails.")

set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The token library has no package: the product is built against a stand-in with its name.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/link_stub)
set(CPACK_STRIP_FILES ON)

# --------------------------------------------------------- the store application

set(application_folder opt/apps/${application})
set(application_icon ${application_folder}/entries/icons/hicolor/scalable/apps)
set(info ${CMAKE_CURRENT_BINARY_DIR}/info)
configure_file(desktop/info.in ${info} @ONLY)

if(TARGET ukeyctl)
  set(carried COMPONENT desktop EXCLUDE_FROM_ALL)
  install(FILES ${info} DESTINATION ${application_folder} ${carried})
  install(FILES desktop/${application}.desktop
    DESTINATION ${application_folder}/entries/applications ${carried})
  install(FILES desktop/${application}.svg DESTINATION ${application_icon} ${carried})
  install(TARGETS orval_unified_kpxukey
    LIBRARY DESTINATION ${application_folder}/files/lib ${carried})
  install(TARGETS ukeyctl RUNTIME DESTINATION ${application_folder}/files/bin ${carried})
  if(ORVAL_MSGFMT)
    install(FILES ${PROJECT_BINARY_DIR}/share/locale/zh_CN/LC_MESSAGES/ukeyctl.mo
      DESTINATION ${application_folder}/files/share/locale/zh_CN/LC_MESSAGES ${carried})
  endif()
  install(PROGRAMS desktop/${application}
    DESTINATION ${application_folder}/files/bin ${carried})
  install(FILES deb/copyright ${changelog}
    ${PROJECT_SOURCE_DIR}/docs/ukeyctl.md ${PROJECT_SOURCE_DIR}/docs/ukeyctl-transcripts.md
    ${PROJECT_SOURCE_DIR}/docs/why.md ${PROJECT_SOURCE_DIR}/docs/why.zh_CN.md
    ${PROJECT_SOURCE_DIR}/docs/error-codes.md ${PROJECT_SOURCE_DIR}/docs/log-format.md
    DESTINATION ${application_folder}/files/doc ${carried})
endif()

set(CPACK_DEBIAN_DESKTOP_PACKAGE_NAME ${application})
set(CPACK_DEBIAN_DESKTOP_PACKAGE_SECTION utils)
# The oldest desktop has these; that the binaries ask for no more is tested with each build.
set(CPACK_DEBIAN_DESKTOP_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DESKTOP_PACKAGE_DEPENDS
  "libc6 (>= 2.28), libgcc-s1 | libgcc1, libstdc++6 (>= 8)")
set(CPACK_COMPONENT_DESKTOP_DESCRIPTION
"interface to a customer's USB cryptographic key, with its support command
The library through which a bank's client reaches the certificates and private
keys (SM2, SM3, SM4) on its customer's USB key, and ukeyctl, which shows and
changes what is on it. The key maker's own package must be installed too.")

# -------------------------------------------------------------- common to all

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orval-unified-kpxukey)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT
  "ORVAL Unified KPX UKey developers <developers@orval-unified-kpxukey.example>")
set(CPACK_DEBIAN_PACKAGE_SOURCE ${CPACK_PACKAGE_NAME})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEB_COMPONENT_INSTALL ON)
# A checkout's umask has no say in a package.
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()
include(CPack)
