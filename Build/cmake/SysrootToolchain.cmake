# A toolchain file for the sysroot that Build/make-sysroot has made: HEARTHD_ARCHITECTURE is i386 or
# armhf. Programs start with the sysroot's own loader and libraries, from anywhere on this machine.
set(CMAKE_SYSTEM_NAME Linux)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES HEARTHD_ARCHITECTURE)
cmake_path(SET CMAKE_SYSROOT NORMALIZE
    ${CMAKE_CURRENT_LIST_DIR}/../../build/sysroot-${HEARTHD_ARCHITECTURE})
if(NOT EXISTS ${CMAKE_SYSROOT}/packages)
    message(FATAL_ERROR "Build/make-sysroot ${HEARTHD_ARCHITECTURE} makes ${CMAKE_SYSROOT}")
endif()

if(HEARTHD_ARCHITECTURE STREQUAL "i386")
    set(CMAKE_SYSTEM_PROCESSOR i686)
    set(CMAKE_CXX_COMPILER g++-12)
    set(CMAKE_CXX_FLAGS_INIT -m32)
    set(triplet i386-linux-gnu)
    set(loader ld-linux.so.2)
elseif(HEARTHD_ARCHITECTURE STREQUAL "armhf")
    set(CMAKE_SYSTEM_PROCESSOR armv7l)
    set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
    set(CMAKE_CXX_FLAGS_INIT -Wno-psabi) # notes on how compilers before GCC 7 passed structures
    set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static)
    set(triplet arm-linux-gnueabihf)
    set(loader ld-linux-armhf.so.3)
else()
    message(FATAL_ERROR "HEARTHD_ARCHITECTURE is '${HEARTHD_ARCHITECTURE}': i386 or armhf")
endif()

# The old kind of path in a program holds for the libraries of its libraries as well.
set(libraries ${CMAKE_SYSROOT}/usr/lib/${triplet}:${CMAKE_SYSROOT}/lib/${triplet})
string(CONCAT link_flags
    "-Wl,--dynamic-linker=${CMAKE_SYSROOT}/lib/${loader} "
    "-Wl,--disable-new-dtags,-rpath,${libraries}")
set(CMAKE_EXE_LINKER_FLAGS_INIT ${link_flags})
set(CMAKE_SHARED_LINKER_FLAGS_INIT ${link_flags})
set(CMAKE_MODULE_LINKER_FLAGS_INIT ${link_flags})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
set(ENV{PKG_CONFIG_LIBDIR}
    ${CMAKE_SYSROOT}/usr/lib/${triplet}/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig)
