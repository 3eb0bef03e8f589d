# One place for how our own code is compiled: warnings, hardening, sanitizers, coverage.

add_library(orval_compile INTERFACE)

target_compile_options(orval_compile INTERFACE
  -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion -Wpedantic
  -fstack-protector-strong)
if(ORVAL_WERROR)
  target_compile_options(orval_compile INTERFACE -Werror)
endif()

target_link_options(orval_compile INTERFACE LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)

if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  target_compile_options(orval_compile INTERFACE -mbranch-protection=standard)
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
  target_compile_options(orval_compile INTERFACE -fcf-protection)
endif()

set(orval_is_optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)
if(ORVAL_SANITIZE)
  target_compile_options(orval_compile INTERFACE
    -fsanitize=${ORVAL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(orval_compile INTERFACE -fsanitize=${ORVAL_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Under a name of its content: what was compiled before a change is compiled anew.
    file(MD5 ${CMAKE_CURRENT_LIST_DIR}/sanitizers.ignorelist ignored)
    set(ignored ${PROJECT_BINARY_DIR}/sanitizers-${ignored}.ignorelist)
    configure_file(${CMAKE_CURRENT_LIST_DIR}/sanitizers.ignorelist ${ignored} COPYONLY)
    # What a shift moves out at the top is lost by its definition.
    target_compile_options(orval_compile INTERFACE
      -fsanitize-ignorelist=${ignored} -fno-sanitize=unsigned-shift-base)
  endif()
else()
  # Fortified sources need optimisation, and sanitizers bring their own checks.
  set(orval_fortified -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  target_compile_options(orval_compile INTERFACE "$<${orval_is_optimised}:${orval_fortified}>")
endif()

# orval_optimise(target): as RelWithDebInfo does it, whatever the type of this build.
function(orval_optimise target)
  separate_arguments(flags NATIVE_COMMAND "${CMAKE_CXX_FLAGS_RELWITHDEBINFO}")
  target_compile_options(${target} PRIVATE ${flags} ${orval_fortified})
endfunction()

if(ORVAL_COVERAGE)
  target_compile_options(orval_compile INTERFACE -fprofile-instr-generate -fcoverage-mapping)
  target_link_options(orval_compile INTERFACE -fprofile-instr-generate)
endif()
