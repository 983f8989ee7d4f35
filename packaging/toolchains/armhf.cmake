# Builds for 32-bit Arm.
set(TARGET armhf)
set(EMULATED arm)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
# Without this option, the compiler prints a note for each function to which programs compiled
# by GCC 6 pass the arguments in another way.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
