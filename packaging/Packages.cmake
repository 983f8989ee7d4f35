# cpack -G DEB builds one package from each component.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_CONTACT "Vexwell Devices <firmware@vexwell.example>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# Empty, because the project's summary would replace the summaries of the packages.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL ${pkg_components})
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${BEACOND_MAKER_URL})
if(CMAKE_CROSSCOMPILING)
    # By default, CPack uses the architecture of the build machine.
    execute_process(
        COMMAND dpkg-architecture --host-type ${CMAKE_LIBRARY_ARCHITECTURE} --query DEB_HOST_ARCH
        OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_ARCHITECTURE OUTPUT_STRIP_TRAILING_WHITESPACE)
endif()
if(target_root)
    # dpkg-shlibdeps finds libraries that are not installed (packaging/toolchains/debian.cmake).
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${target_libraries})
    set(CPACK_PROJECT_CONFIG_FILE ${CMAKE_CURRENT_BINARY_DIR}/target_root.cmake)
    file(WRITE ${CPACK_PROJECT_CONFIG_FILE}
        "set(ENV{DPKG_ADMINDIR} ${target_root}/dpkg)\n")
endif()

# package(COMPONENT SUMMARY DESCRIPTION): sets the name and the texts of a package, and
# its maintainer scripts if there are any.
function(package component summary description)
    string(TOUPPER ${component} key)
    set(folder ${CMAKE_CURRENT_SOURCE_DIR}/debian/${component})
    file(GLOB scripts ${folder}/*)
    set(CPACK_DEBIAN_${key}_PACKAGE_NAME ${component} PARENT_SCOPE)
    set(CPACK_COMPONENT_${key}_DESCRIPTION "${summary}\n${description}" PARENT_SCOPE)
    set(CPACK_DEBIAN_${key}_PACKAGE_CONTROL_EXTRA "${scripts}" PARENT_SCOPE)
endfunction()

package(beacond "discovery daemon of a video device"
"Announces the device on the local network by SSDP and DNS-SD, receives its
neighbours' announcements, and lists them for the device's web interface.")
package(beacon-configd "configuration service of a video device"
"Stores host name and SSDP switch, follows the network interface, and reports
every change to the discovery daemon. For devices without another
configuration service.")
package(beaconctl "queries discovery daemons"
"Shows which neighbours this or another device knows and which services it
announces, and searches the network by SSDP.")
package(beacond-web "discovery page of a video device"
"A static page that shows the device's neighbours, for the web server that
serves /var/www.")
set(CPACK_DEBIAN_BEACOND_PACKAGE_DEPENDS "adduser, avahi-daemon, dbus | dbus-system-bus")
set(CPACK_DEBIAN_BEACOND_PACKAGE_RECOMMENDS "beacon-configd")
set(CPACK_DEBIAN_BEACOND_PACKAGE_SUGGESTS "beaconctl, beacond-web")
set(CPACK_DEBIAN_BEACON-CONFIGD_PACKAGE_DEPENDS "adduser")
set(CPACK_DEBIAN_BEACOND-WEB_PACKAGE_DEPENDS "beacond")
set(CPACK_DEBIAN_BEACOND-WEB_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_BEACOND-WEB_PACKAGE_SHLIBDEPS OFF)
include(CPack)
