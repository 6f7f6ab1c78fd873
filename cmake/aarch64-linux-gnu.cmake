# Builds for 64-bit ARM Linux with the cross compiler aarch64-linux-gnu-g++.
#
# KIV_SYSROOT     folder with the target's libraries and headers; scripts/target-sysroot makes one
# KIV_EMULATOR    program that runs the target's programs here; by default qemu-aarch64-static, if there is one

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

set(KIV_SYSROOT "" CACHE PATH "Folder with the target's libraries and headers")
find_program(KIV_EMULATOR qemu-aarch64-static DOC "Program that runs the target's programs here")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KIV_SYSROOT KIV_EMULATOR)

if(KIV_SYSROOT)
  set(CMAKE_SYSROOT ${KIV_SYSROOT})
  set(ENV{PKG_CONFIG_SYSROOT_DIR} ${KIV_SYSROOT})
  set(ENV{PKG_CONFIG_LIBDIR} ${KIV_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${KIV_SYSROOT}/usr/share/pkgconfig)
endif()
if(KIV_EMULATOR)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${KIV_EMULATOR})
  if(KIV_SYSROOT)
    list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -L ${KIV_SYSROOT})
  endif()
endif()

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
