# Compiler flags of the project.

# Results are defined bit for bit: never let the compiler fuse a*b+c on its own
# (GCC does by default on aarch64, and on x86 once FMA is enabled). Fused
# operations are written out with std::fma or Highway's MulAdd where intended.
# This is part of what the code means, so it applies to every source of the
# project, whatever target it belongs to.
add_compile_options(-ffp-contract=off -fno-math-errno)

# Optimisation: CMake's own per-configuration flags (Release: -O3 -DNDEBUG).
# -O3 was measured against -O2 on the kernels; see the README's development notes.

# Warnings and sanitizers belong to the project's own targets only (not to
# third-party code built alongside, such as GoogleTest in a cross build): every
# library object, test, tool and benchmark links this target PRIVATE.
add_library(pxkit_build_flags INTERFACE)
target_compile_options(pxkit_build_flags INTERFACE
  -Wall -Wextra -Wshadow -Wconversion -Wno-sign-conversion
  $<$<BOOL:${PXKIT_WERROR}>:-Werror>)

# Sanitizer builds: -O1 and line tables only (reports still name file and
# line). Instrumented -O3 with full debug information doubled the time of the
# whole test gate; the multi-target kernel sources dominate it.
set(PXKIT_SANITIZER_OPT -O1 -g1)
if(PXKIT_SANITIZE STREQUAL "thread")
  target_compile_options(pxkit_build_flags INTERFACE -fsanitize=thread ${PXKIT_SANITIZER_OPT} -fno-omit-frame-pointer)
  target_link_options(pxkit_build_flags INTERFACE -fsanitize=thread)
elseif(PXKIT_SANITIZE STREQUAL "address")
  target_compile_options(pxkit_build_flags INTERFACE -fsanitize=address,undefined
                         -fno-sanitize-recover=all ${PXKIT_SANITIZER_OPT} -fno-omit-frame-pointer)
  target_link_options(pxkit_build_flags INTERFACE -fsanitize=address,undefined -fno-sanitize-recover=all)
elseif(NOT PXKIT_SANITIZE STREQUAL "")
  message(FATAL_ERROR "PXKIT_SANITIZE must be '', 'thread' or 'address'")
endif()

find_package(Threads REQUIRED)

# Libraries every pxkit binary links: POSIX threads, libm, and (on x86-64) the
# Highway run-time that detects the CPU for dynamic dispatch.
function(pxkit_link_runtime target scope)
  target_link_libraries(${target} ${scope} Threads::Threads m)
  if(PXKIT_HWY_LIBRARY)
    target_link_libraries(${target} ${scope} ${PXKIT_HWY_LIBRARY})
  endif()
endfunction()

# pxkit_add_subsystem(NAME SOURCES a.cc ... [SIMD_SOURCES k.cc ...])
# Adds an object library that goes into libpxkit. SIMD_SOURCES are the files
# compiled once per vector target through Highway's foreach_target.
function(pxkit_add_subsystem name)
  cmake_parse_arguments(ARG "" "" "SOURCES;SIMD_SOURCES" ${ARGN})
  add_library(pxkit_${name} OBJECT ${ARG_SOURCES} ${ARG_SIMD_SOURCES})
  target_include_directories(pxkit_${name} PRIVATE
    ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR}/src)
  target_compile_definitions(pxkit_${name} PRIVATE PXKIT_BUILDING_LIBRARY)
  target_link_libraries(pxkit_${name} PRIVATE pxkit_build_flags)
  pxkit_use_highway(pxkit_${name})
  if(ARG_SIMD_SOURCES)
    pxkit_simd_sources(pxkit_${name} ${ARG_SIMD_SOURCES})
  endif()
  set_property(GLOBAL APPEND PROPERTY PXKIT_OBJECT_LIBS pxkit_${name})
endfunction()
