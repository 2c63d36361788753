# Toolchain for 32-bit ARM: Debian's cross compiler and the sysroot that scripts/make-arm-sysroot creates in
# build/.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
# The tests include C libraries.
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# Without notes about calls whose ABI changed in g++ 7.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(LANFAB_ARM_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../../build/arm-sysroot CACHE PATH "Libraries of the device")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES LANFAB_ARM_SYSROOT)
get_filename_component(sysroot ${LANFAB_ARM_SYSROOT} ABSOLUTE)
set(CMAKE_SYSROOT ${sysroot})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${sysroot})
set(ENV{PKG_CONFIG_LIBDIR} ${sysroot}/usr/lib/arm-linux-gnueabihf/pkgconfig:${sysroot}/usr/share/pkgconfig)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L ${sysroot})
