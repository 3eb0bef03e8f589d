# What makes a build fit for shipping: no path of the build machine in the results, and debug
# information in files of its own.

option(ORVAL_SHIP "Strip what packages carry, and keep its debug information apart" OFF)

# Where debuggers look for the sources. All is written as if build and sysroot lay inside the source
# in their usual places: a compiler meets several prefixes that fit then, clang and GCC prefer
# different ones, and each must lead to the same text.
set(orval_source_name /usr/src/orval_unified_kpxukey)
get_filename_component(orval_build_folder ${PROJECT_BINARY_DIR} NAME)
set(orval_prefix_maps
  -ffile-prefix-map=${PROJECT_SOURCE_DIR}=${orval_source_name}
  -ffile-prefix-map=${PROJECT_BINARY_DIR}=${orval_source_name}/build/${orval_build_folder})
if(CMAKE_SYSROOT)
  list(APPEND orval_prefix_maps
    -ffile-prefix-map=${CMAKE_SYSROOT}=${orval_source_name}/build/sysroot/root)
endif()

# orval_ship_part(target): for a library that goes into a target that a package carries.
function(orval_ship_part target)
  if(ORVAL_SHIP)
    target_compile_options(${target} PRIVATE ${orval_prefix_maps})
  endif()
endfunction()

# orval_ship(target): for a target that a package carries; no effect but in a shipping build.
function(orval_ship target)
  if(NOT ORVAL_SHIP)
    return()
  endif()
  target_compile_options(${target} PRIVATE ${orval_prefix_maps})
  # The C++ compiler asks for libm whether anything of it is used or not.
  target_link_options(${target} PRIVATE LINKER:--build-id=sha1 LINKER:--as-needed)
  # What is tested is what is installed, byte for byte.
  set_target_properties(${target} PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
  get_target_property(type ${target} TYPE)
  if(ORVAL_SYSROOT AND type STREQUAL "EXECUTABLE")
    # Debian 11's C++ library is newer than the desktop's; a program can bring what it uses of it.
    # The product must share the client's.
    target_link_options(${target} PRIVATE -static-libstdc++)
  endif()
  set(file $<TARGET_FILE:${target}>)
  add_custom_command(TARGET ${target} POST_BUILD
    COMMAND ${CMAKE_OBJCOPY} --only-keep-debug ${file} ${file}.debug
    COMMAND ${CMAKE_OBJCOPY} --strip-all --add-gnu-debuglink=${file}.debug ${file}
    VERBATIM)
endfunction()
