# Builds for 32-bit Arm.
set(TARGET armhf)
set(EMULATED arm)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
# Suppresses the compiler's notes about functions whose arguments are passed in another way
# since GCC 7.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
