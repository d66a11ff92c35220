# Debian packages with CPack (`make deb`, or `cpack` in a build folder):
#   libpxkit1     libpxkit.so.1 and its version file
#   libpxkit-dev  header, libpxkit.so, CMake package files, pxkit.pc
#   pxkit-tools   the pxkit command
# Depends: lines come from dpkg-shlibdeps (shared libraries) and from the
# components' own order (dev and tools need the runtime of the same version).
# The architecture is the build's: amd64 natively, arm64 in the aarch64 cross build.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME pxkit)
set(CPACK_PACKAGE_VENDOR "pxkit")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "image-processing and time-of-flight depth kernels with a C ABI")
set(CPACK_PACKAGE_CONTACT "pxkit maintainers <pxkit@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev)
if(PXKIT_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libpxkit1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_DEV_PACKAGE_NAME libpxkit-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME pxkit-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
# dpkg-shlibdeps runs in each component's staging folder; the tool finds the
# library it links in the runtime component's (its package is named by the
# component dependency below).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ../runtime/usr/${CMAKE_INSTALL_LIBDIR})
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_COMPONENT_TOOLS_DEPENDS runtime)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "pxkit shared library\n ToF depth decoding, conversion, scaling and analysis kernels (libpxkit.so.1).")
set(CPACK_COMPONENT_DEV_DESCRIPTION "pxkit development files\n Header, CMake package and pkg-config file for libpxkit.")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "pxkit command-line tool\n Decodes ToF sample files and runs the demo of libpxkit.")

if(PXKIT_ARCH STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
else()
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()

include(CPack)
