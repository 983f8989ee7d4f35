# The compiler options of all targets of the project.
add_library(beacond_options INTERFACE)
target_compile_options(beacond_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wformat-security -Werror
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>)
# Lets 32-bit processors open files over 2 GiB. (_TIME_BITS=64 would change the type timeval,
# which Debian 12's Avahi library for these processors exchanges with its caller.)
target_compile_definitions(beacond_options INTERFACE _FILE_OFFSET_BITS=64
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    # The programs read data from the network: the flags of Debian 13's dpkg-buildflags
    # with hardening=+all, and _FORTIFY_SOURCE=3. _GLIBCXX_ASSERTIONS is left out because
    # of its cost (docs/performance.md, "Cost of hardening").
    set(CMAKE_POSITION_INDEPENDENT_CODE ON)
    # Undefined first, because an image builder's flags may define it.
    target_compile_options(beacond_options INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3
        -fstack-protector-strong -fstack-clash-protection
        $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},x86_64>:-fcf-protection>
        $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},aarch64>:-mbranch-protection=standard>
        -ffunction-sections -fdata-sections)
    target_link_options(beacond_options INTERFACE -pie -Wl,-z,relro,-z,now,--gc-sections
        -Wl,--as-needed)
    set(CMAKE_INTERPROCEDURAL_OPTIMIZATION ON)
endif()
if(BEACOND_SANITIZE)
    target_compile_options(beacond_options INTERFACE
        -fsanitize=${BEACOND_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(beacond_options INTERFACE -fsanitize=${BEACOND_SANITIZE})
endif()
# For the libraries under test only, not for the tests.
add_library(beacond_coverage INTERFACE)
if(BEACOND_COVERAGE)
    target_compile_options(beacond_coverage INTERFACE --coverage -fprofile-update=atomic)
    target_link_options(beacond_coverage INTERFACE --coverage)
endif()

# beacond_library(NAME SOURCES FILE... [LINK LIBRARY...]): a static library of the
# calling folder. Its headers are included as "folder/header.h", by itself and by targets
# that link it. A common include directory src/ would make all folders visible to all.
function(beacond_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINK" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    cmake_path(GET CMAKE_CURRENT_SOURCE_DIR FILENAME folder)
    file(GLOB headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} *.h)
    foreach(header ${headers})
        # Not a symbolic link: compilers and coverage reports would show the link's path.
        file(CONFIGURE OUTPUT include/${folder}/${header}
            CONTENT "#include \"${CMAKE_CURRENT_SOURCE_DIR}/${header}\"\n")
    endforeach()
    target_include_directories(${name} PUBLIC ${CMAKE_CURRENT_BINARY_DIR}/include)
    target_link_libraries(${name} PUBLIC ${ARG_LINK} PRIVATE beacond_options
        beacond_coverage)
endfunction()
