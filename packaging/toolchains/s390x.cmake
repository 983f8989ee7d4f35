# Builds for s390x, a processor with the most significant byte first.
set(TARGET s390x)
set(EMULATED s390x)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(CMAKE_LIBRARY_ARCHITECTURE s390x-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian.cmake)
