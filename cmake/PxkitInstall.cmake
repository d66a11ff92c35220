# Installs the shared library, the header, a pkg-config file and a CMake
# package: find_package(pxkit) gives the target pxkit::pxkit.
include(CMakePackageConfigHelpers)

install(TARGETS pxkit EXPORT pxkitTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES include/pxkit.h ${PXKIT_GENERATED_INCLUDE}/pxkit_version.h
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(PXKIT_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/pxkit)
install(EXPORT pxkitTargets NAMESPACE pxkit:: DESTINATION ${PXKIT_CMAKE_DIR})
configure_package_config_file(cmake/pxkitConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/pxkitConfig.cmake INSTALL_DESTINATION ${PXKIT_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/pxkitConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/pxkitConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/pxkitConfigVersion.cmake
        DESTINATION ${PXKIT_CMAKE_DIR})

# The .pc file locates its prefix from its own directory, so the installed tree
# can be moved (and `cmake --install --prefix` works).
file(RELATIVE_PATH PXKIT_PC_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/pxkit.pc.in ${CMAKE_CURRENT_BINARY_DIR}/pxkit.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/pxkit.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
