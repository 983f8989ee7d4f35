# Finds Qt Core. Qt 5.15 and all later versions provide the targets Qt::Core and
# Qt::Test.
set(BEACOND_QT "5;6" CACHE STRING "Qt to build with: 5, 6, or both in the order of preference")
set(minimum_5 5.15)
set(minimum_6 6.4)
foreach(major ${BEACOND_QT})
    if(NOT TARGET Qt::Core)
        find_package(Qt${major} ${minimum_${major}} QUIET COMPONENTS Core)
        set(BEACOND_QT_PACKAGE Qt${major})
    endif()
endforeach()
if(NOT TARGET Qt::Core)
    message(FATAL_ERROR "Found no Qt of the versions in BEACOND_QT (${BEACOND_QT}). beacond needs "
        "Qt 5.15 (Debian: qtbase5-dev) or Qt 6.4 or later (qt6-base-dev).")
endif()
message(STATUS "Building with ${BEACOND_QT_PACKAGE} ${${BEACOND_QT_PACKAGE}_VERSION}")
