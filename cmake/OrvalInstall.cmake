# What is installed, where, and in which component:
#
#   runtime  the library
#   dev      what a client developer builds with: headers, the library that looks at texts beforehand,
#            pkg-config, CMake package, documents, examples, reference
#   tools    ukeyctl, and in a folder of their own what records and replays
#   softkey  the software key, in a folder of its own, and the commands around it
#   python   the Python package, where Debian's Python looks
#   doc      with ORVAL_SITE, the documentation as pages for a browser
#
# One more is left out unless asked for by name:
#
#   desktop  the store application, see packaging/desktop

include(CMakePackageConfigHelpers)

# Distributions keep shared libraries unexecutable; CMake knows this of a native Debian only.
set(CMAKE_INSTALL_SO_NO_EXE ON)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/orval_unified_kpxukey)
set(softkey_folder ${CMAKE_INSTALL_LIBDIR}/orval-softkey)
set(recorder_folder ${CMAKE_INSTALL_LIBDIR}/orval-recorder)
set(generated ${PROJECT_BINARY_DIR}/install)
find_program(ORVAL_PYTHON python3)

# What distributions want to be compressed, without a time stamp.
function(orval_compress source output)
  get_filename_component(folder ${output} DIRECTORY)
  add_custom_command(OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
    COMMAND gzip -9 --no-name --stdout ${source} > ${output}
    DEPENDS ${source} VERBATIM)
  set_property(DIRECTORY APPEND PROPERTY ORVAL_COMPRESSED ${output})
endfunction()

# orval_install_manual(component folder page...): the English page and the Chinese one.
function(orval_install_manual component folder)
  foreach(page IN LISTS ARGN)
    string(REGEX REPLACE ".*\\." "man" section ${page})
    foreach(language IN ITEMS "" zh_CN/)
      set(compressed ${generated}/man/${language}${page}.gz)
      orval_compress(${folder}/${language}${page} ${compressed})
      install(FILES ${compressed}
        DESTINATION ${CMAKE_INSTALL_MANDIR}/${language}${section} COMPONENT ${component})
    endforeach()
  endforeach()
endfunction()

# orval_install_command_manual(component command program emulator...): pages made with what the program's
# own help says.
function(orval_install_command_manual component command program)
  if(NOT commands_have_manual)
    return()
  endif()
  set(man ${PROJECT_SOURCE_DIR}/man)
  add_custom_command(OUTPUT ${generated}/man/${command}.1 ${generated}/man/zh_CN/${command}.1
    COMMAND ${ORVAL_PYTHON} ${man}/make_pages ${command} ${generated}/man ${ARGN} ${program}
    DEPENDS ${program} ${man}/make_pages ${man}/command_help.py ${man}/roff.py ${man}/${command}.1.in
      ${man}/zh_CN/${command}.1.in ${PROJECT_SOURCE_DIR}/po/catalogue.py
      ${PROJECT_SOURCE_DIR}/po/zh_CN.po
    COMMENT "Making the manual pages of ${command}" VERBATIM)
  orval_install_manual(${component} ${generated}/man ${command}.1)
endfunction()

# orval_install_library_manual(component): section 3, with a page for each function of the header.
function(orval_install_library_manual component)
  if(NOT ORVAL_PYTHON)
    message(NOTICE "Left out: the manual pages of the libraries. They take python3.")
    return()
  endif()
  set(man ${PROJECT_SOURCE_DIR}/man)
  file(GLOB by_hand CONFIGURE_DEPENDS ${man}/*.3 ${man}/zh_CN/*.3)
  set(pages ${generated}/section3)
  add_custom_command(OUTPUT ${pages}/made
    COMMAND ${ORVAL_PYTHON} ${man}/make_library_pages ${pages}/man
    COMMAND ${CMAKE_COMMAND} -E touch ${pages}/made
    DEPENDS ${man}/make_library_pages ${man}/c_header.py ${man}/roff.py ${by_hand} ${PROJECT_SOURCE_DIR}/po/catalogue.py
      ${PROJECT_SOURCE_DIR}/po/header.zh_CN.po ${PROJECT_SOURCE_DIR}/include/orval_unified_kpxukey.h
    COMMENT "Making the manual pages of the libraries" VERBATIM)
  set_property(DIRECTORY APPEND PROPERTY ORVAL_COMPRESSED ${pages}/made)
  install(DIRECTORY ${pages}/man/ DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT ${component})
endfunction()

# One script for each shell completes all commands; each is looked for under its own name.
function(orval_install_completion component)
  set(scripts ${PROJECT_SOURCE_DIR}/completions)
  foreach(command IN LISTS ARGN)
    install(FILES ${scripts}/orval.bash RENAME ${command}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT ${component})
    install(FILES ${scripts}/orval.zsh RENAME _${command}
      DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions COMPONENT ${component})
    install(FILES ${scripts}/orval.fish RENAME ${command}.fish
      DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT ${component})
  endforeach()
endfunction()

# ---------------------------------------------------------------- runtime

install(TARGETS orval_unified_kpxukey
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime)

# -------------------------------------------------------------------- dev

install(DIRECTORY ${PROJECT_SOURCE_DIR}/include/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev
  FILES_MATCHING PATTERN "*.h" PATTERN "*.hpp")

# What looks at texts before they are handed over is for who builds clients, and for the clients that are
# shipped with it.
install(TARGETS orval_lint
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)

configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/orval_unified_kpxukeyConfig.cmake.in
  ${generated}/orval_unified_kpxukeyConfig.cmake
  INSTALL_DESTINATION ${package_folder}
  PATH_VARS CMAKE_INSTALL_INCLUDEDIR CMAKE_INSTALL_LIBDIR softkey_folder)
write_basic_package_version_file(
  ${generated}/orval_unified_kpxukeyConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${generated}/orval_unified_kpxukeyConfig.cmake
  ${generated}/orval_unified_kpxukeyConfigVersion.cmake
  DESTINATION ${package_folder} COMPONENT dev)

# Outside the system's own folders the prefix is told from where the file lies, so that an installed
# copy may be moved.
set(pc_prefix ${CMAKE_INSTALL_PREFIX})
if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  file(RELATIVE_PATH to_prefix /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
  string(REGEX REPLACE "/$" "" pc_prefix "\${pcfiledir}/${to_prefix}")
endif()
foreach(name IN ITEMS orval_unified_kpxukey orval_lint)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${generated}/${name}.pc @ONLY)
  install(FILES ${generated}/${name}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
endforeach()

orval_install_library_manual(dev)

# In the folders that they have here, so that their links to one another hold.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev)
install(FILES
  ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/README.zh_CN.md
  ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/CONTRIBUTING.md
  ${PROJECT_SOURCE_DIR}/SECURITY.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev)

# --------------------------------------------- the manual of tools and softkey

set(emulator)
if(CMAKE_CROSSCOMPILING)
  set(emulator ${CMAKE_CROSSCOMPILING_EMULATOR})
endif()
set(commands_have_manual NO)
if(ORVAL_PYTHON AND (emulator OR NOT CMAKE_CROSSCOMPILING))
  set(commands_have_manual YES)
elseif(TARGET ukeyctl OR TARGET softkey)
  message(NOTICE "Left out: the manual pages of the commands. They take python3 and, for another machine "
    "than this one, an emulator in CMAKE_CROSSCOMPILING_EMULATOR.")
endif()

# ------------------------------------------------------------------ tools

if(TARGET ukeyctl)
  # The command looks in ../lib itself, and in the system's own folders the loader finds the library.
  if(NOT CMAKE_INSTALL_LIBDIR STREQUAL "lib" AND NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")
    file(RELATIVE_PATH to_library
      /prefix/${CMAKE_INSTALL_BINDIR} /prefix/${CMAKE_INSTALL_LIBDIR})
    set_target_properties(ukeyctl PROPERTIES INSTALL_RPATH "$ORIGIN/${to_library}")
  endif()
  install(TARGETS ukeyctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
  install(FILES ${PROJECT_SOURCE_DIR}/logs/lnav/vexapinpad_orval.json
    DESTINATION ${CMAKE_INSTALL_DATADIR}/ukeyctl/lnav COMPONENT tools)
  install(TARGETS recorder_backend recorder_token recorder_engine recorder_client
    LIBRARY DESTINATION ${recorder_folder} COMPONENT tools
    RUNTIME DESTINATION ${recorder_folder} COMPONENT tools)
  orval_install_command_manual(tools ukeyctl $<TARGET_FILE:ukeyctl> ${emulator})
  orval_install_completion(tools ukeyctl)
endif()

# ---------------------------------------------------------------- softkey

if(TARGET softkey_backend)
  install(TARGETS softkey_backend softkey_token
    LIBRARY DESTINATION ${softkey_folder} COMPONENT softkey)
  install(TARGETS softkey softca
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT softkey)
  # Installed, the command has nothing beside it: what it reads here is written into it.
  set(places ${PROJECT_SOURCE_DIR}/maker/places)
  set(command ${PROJECT_SOURCE_DIR}/scripts/with-softkey)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${places} ${command})
  file(READ ${places} places)
  file(READ ${command} text)
  string(REPLACE "# shellcheck source=maker/places\n. \"$root/maker/places\"\n" "${places}" text "${text}")
  if(text MATCHES "maker/places\"")
    message(FATAL_ERROR "${command} reads maker/places in another way than this file replaces")
  endif()
  file(WRITE ${generated}/with-softkey "${text}")
  install(PROGRAMS ${generated}/with-softkey
    DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT softkey)
  orval_install_command_manual(softkey softkey $<TARGET_FILE:softkey> ${emulator})
  orval_install_command_manual(softkey softca $<TARGET_FILE:softca> ${emulator})
  orval_install_command_manual(softkey with-softkey ${PROJECT_SOURCE_DIR}/scripts/with-softkey)
  # Where the selectors are told, also for those who have no development package.
  install(FILES ${PROJECT_SOURCE_DIR}/docs/software-key.md ${PROJECT_SOURCE_DIR}/docs/software-key-inside.md
    ${PROJECT_SOURCE_DIR}/docs/known-keys.md ${PROJECT_SOURCE_DIR}/docs/scenarios.md
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/orval-softkey COMPONENT softkey)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/scenarios
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/orval-softkey COMPONENT softkey)
  install(PROGRAMS ${PROJECT_SOURCE_DIR}/scripts/scripted-pinentry
    DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/orval-softkey COMPONENT softkey)
  orval_install_completion(softkey softkey softca with-softkey)
endif()

# ----------------------------------------------------------------- python

if(TARGET python_package)
  install(DIRECTORY ${PROJECT_BINARY_DIR}/python/built/installed/
    DESTINATION lib/python3/dist-packages COMPONENT python)
endif()

get_directory_property(compressed ORVAL_COMPRESSED)
add_custom_target(manual ALL DEPENDS ${compressed})

add_subdirectory(${PROJECT_SOURCE_DIR}/site ${PROJECT_BINARY_DIR}/site)
add_subdirectory(${PROJECT_SOURCE_DIR}/packaging ${PROJECT_BINARY_DIR}/packaging)
