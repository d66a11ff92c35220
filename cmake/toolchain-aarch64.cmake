# Cross build for 64-bit Arm Linux with Debian's g++-aarch64-linux-gnu.
# Libraries the tool links (libpng, libtiff, cairo) come from Debian's arm64
# multiarch packages in /usr/lib/aarch64-linux-gnu, which the cross compiler
# searches by itself; pkg-config is Debian's cross wrapper.
# Test binaries run under qemu-aarch64. With Debian's arm64 C library installed
# (multiarch, /lib/ld-linux-aarch64.so.1) the emulator uses it as a whole; the
# cross tool chain's copy in /usr/aarch64-linux-gnu is only a fallback, since a
# loader from one and a libc.so.6 from the other must never meet.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(PKG_CONFIG_EXECUTABLE aarch64-linux-gnu-pkg-config CACHE FILEPATH "pkg-config for arm64 packages")
if(EXISTS /lib/ld-linux-aarch64.so.1)
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-L;/)
else()
  set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64;-L;/usr/aarch64-linux-gnu)
endif()
# Debian's multiarch layout for what is installed or packaged (GNUInstallDirs
# picks it by itself only in native builds).
set(CMAKE_INSTALL_LIBDIR lib/aarch64-linux-gnu CACHE PATH "Object code libraries (multiarch)")
