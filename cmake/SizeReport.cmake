# The target size-report: the size of the programs on disk, and in memory if this machine
# can run them and the configuration service is built.
set(programs beacond)
set(run "")
if(BEACOND_TOOLS)
    list(APPEND programs beacon-configd beaconctl)
    if(NOT CMAKE_CROSSCOMPILING)
        set(run --run ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
    endif()
endif()
list(TRANSFORM programs REPLACE ".+" "$<TARGET_FILE:\\0>" OUTPUT_VARIABLE program_files)
add_custom_target(size-report
    COMMAND ${CMAKE_COMMAND} -E env
        PYTHONPATH=${PROJECT_SOURCE_DIR}/tools:${PROJECT_SOURCE_DIR}/benchmarks
        /usr/bin/python3 -B -m measure.sizes --compiler ${CMAKE_CXX_COMPILER}
        --strip ${CMAKE_STRIP} ${run} ${program_files}
    DEPENDS ${programs}
    USES_TERMINAL VERBATIM)
