# Builds for another processor with Debian's cross compiler, and with Debian's libraries for
# it, which scripts/target_root.sh unpacks. Included with TARGET (the name of the architecture)
# and EMULATED (its name in QEMU) set. Build tools such as moc run on the build machine.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-gcc)
set(CMAKE_CXX_COMPILER ${CMAKE_LIBRARY_ARCHITECTURE}-g++)
set(target_root /opt/beacond/${TARGET})
set(target_libraries ${target_root}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE})
# Libraries of the target come from its root, and headers that fit every processor may also
# come from the build machine.
set(CMAKE_FIND_ROOT_PATH ${target_root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_EXE_LINKER_FLAGS_INIT -Wl,-rpath-link,${target_libraries})
set(ENV{PKG_CONFIG_LIBDIR} ${target_libraries}/pkgconfig)
set(ENV{PKG_CONFIG_SYSROOT_DIR} ${target_root})
# Runs the tests on machines that cannot start the target's programs directly.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-${EMULATED}-static -L ${target_root})
