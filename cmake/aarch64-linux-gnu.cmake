# Cross-building for 64-bit Arm with Debian's compiler; the tests run under emulation.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_FIND_ROOT_PATH /usr/aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# The loader is named, since an emulator that is given a system root looks there for "/" as well.
set(CMAKE_CROSSCOMPILING_EMULATOR
  "qemu-aarch64;/usr/aarch64-linux-gnu/lib/ld-linux-aarch64.so.1;--library-path;/usr/aarch64-linux-gnu/lib")
# The modules are built when their libraries are installed for this architecture too.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
