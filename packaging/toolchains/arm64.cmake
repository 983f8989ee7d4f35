# Builds for 64-bit Arm with Debian's cross compiler and arm64 libraries (the group arm64
# of scripts/packages.txt). Build tools such as moc run on the build machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
# Instead of the build machine's libraries.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/aarch64-linux-gnu/pkgconfig:/usr/share/pkgconfig)
# Runs the tests on machines that cannot start arm64 programs directly.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)
