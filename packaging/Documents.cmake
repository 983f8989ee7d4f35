# Manual pages and changelogs, compressed as Debian's policy requires, and the copyright.
function(install_compressed source name destination component)
    set(target ${CMAKE_CURRENT_BINARY_DIR}/${component}-${name}.gz)
    execute_process(COMMAND gzip -9nc ${source} OUTPUT_FILE ${target} COMMAND_ERROR_IS_FATAL ANY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
    install(FILES ${target} RENAME ${name}.gz DESTINATION ${destination} COMPONENT ${component})
endfunction()

foreach(page beacond:beacond.8 beacond:browse.json.5 beacon-configd:beacon-configd.8
        beaconctl:beaconctl.1)
    string(REPLACE ":" ";" parts ${page})
    list(GET parts 0 component)
    list(GET parts 1 name)
    if(component IN_LIST pkg_components)
        string(REGEX MATCH "[0-9]$" section ${name})
        install_compressed(${CMAKE_CURRENT_SOURCE_DIR}/man/${name} ${name}
            ${CMAKE_INSTALL_MANDIR}/man${section} ${component})
    endif()
endforeach()
foreach(component ${pkg_components})
    set(folder ${CMAKE_INSTALL_DATADIR}/doc/${component})
    install_compressed(${CMAKE_CURRENT_SOURCE_DIR}/debian/changelog changelog ${folder} ${component})
    install(FILES debian/copyright DESTINATION ${folder} COMPONENT ${component})
endforeach()

# The package has all documents in one folder. Therefore "../" and "docs/" are removed from the
# links between them.
foreach(document docs/operations.md docs/embedded.md docs/protocol.md docs/security.md
        docs/performance.md docs/configuration-service.yaml SECURITY.md)
    file(READ ${PROJECT_SOURCE_DIR}/${document} text)
    string(REGEX REPLACE "\\]\\((\\.\\./|docs/)" "](" text "${text}")
    get_filename_component(name ${document} NAME)
    set(target ${CMAKE_CURRENT_BINARY_DIR}/documents/${name})
    file(WRITE ${target} "${text}")
    install(FILES ${target} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/beacond COMPONENT beacond)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${document})
endforeach()
if(beacon-configd IN_LIST pkg_components)
    install(FILES ${PROJECT_SOURCE_DIR}/docs/configuration-service.yaml
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/beacon-configd COMPONENT beacon-configd)
endif()
