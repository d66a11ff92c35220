# Google Highway set-up for the vector kernels.
#
# x86-64: dynamic dispatch. Each SIMD source is compiled for AVX2 and AVX-512
# through foreach_target.h; the Highway run-time library detects the CPU.
# aarch64: static dispatch to NEON, header-only; no Highway library at run time.
# Highway 1.0.3 only enables its NEON target when AES is available at compile
# time, so the SIMD sources are built with +crypto. No kernel uses an AES
# instruction and GCC does not emit one on its own.

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
  set(PXKIT_ARCH aarch64)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64)$")
  set(PXKIT_ARCH x86_64)
else()
  message(FATAL_ERROR "pxkit builds for aarch64 and x86-64 only (got ${CMAKE_SYSTEM_PROCESSOR})")
endif()

if(PXKIT_ARCH STREQUAL "x86_64")
  find_package(hwy 1.0 CONFIG REQUIRED)
  set(PXKIT_HWY_LIBRARY hwy::hwy)
  set(PXKIT_HWY_DEFINES "HWY_DISABLED_TARGETS=(HWY_SSSE3|HWY_SSE4)")
  set(PXKIT_SIMD_FLAGS "")
else()
  # The cross compiler does not search the build machine's /usr/include; give it
  # Highway's headers alone through a staging directory.
  find_path(PXKIT_HWY_HEADERS hwy/highway.h PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  set(PXKIT_HWY_STAGE ${CMAKE_BINARY_DIR}/hwy-include)
  file(MAKE_DIRECTORY ${PXKIT_HWY_STAGE})
  file(CREATE_LINK ${PXKIT_HWY_HEADERS}/hwy ${PXKIT_HWY_STAGE}/hwy SYMBOLIC)
  set(PXKIT_HWY_INCLUDE ${PXKIT_HWY_STAGE})
  set(PXKIT_HWY_LIBRARY "")
  set(PXKIT_HWY_DEFINES "HWY_COMPILE_ONLY_STATIC=1")
  set(PXKIT_SIMD_FLAGS -march=armv8-a+crypto)
endif()

function(pxkit_use_highway target)
  if(PXKIT_HWY_INCLUDE)
    target_include_directories(${target} SYSTEM PRIVATE ${PXKIT_HWY_INCLUDE})
  elseif(TARGET hwy::hwy)
    target_include_directories(${target} SYSTEM PRIVATE
      $<TARGET_PROPERTY:hwy::hwy,INTERFACE_INCLUDE_DIRECTORIES>)
  endif()
  target_compile_definitions(${target} PRIVATE ${PXKIT_HWY_DEFINES})
endfunction()

# Marks files of `target` as per-target SIMD sources.
function(pxkit_simd_sources target)
  if(PXKIT_SIMD_FLAGS)
    set_source_files_properties(${ARGN} TARGET_DIRECTORY ${target}
      PROPERTIES COMPILE_OPTIONS "${PXKIT_SIMD_FLAGS}")
  endif()
endfunction()
