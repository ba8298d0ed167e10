# SPDX-License-Identifier: MIT

# What `cmake --install` puts where, beyond the programs and libraries themselves. Components are
# packages (debian/rules): "webserver" for a device, "dev" to build against it, "simulator" for a machine
# that plays the device, "gstreamer" for one that is to be heard.

# Until 1.0 every minor version may change the interfaces of the platform libraries.
set(PLIX_SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

include(CMakePackageConfigHelpers)

# plix_pkg_config(TARGET [TARGETS...]): the library's pkg-config file; it requires those of the other
# targets. Its paths are relative to the file, so that an installed tree can be moved.
function(plix_pkg_config target)
    set(folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
    file(RELATIVE_PATH PREFIX /${folder} /)
    string(REGEX REPLACE "/$" "" PREFIX ${PREFIX})
    set(NAME lib${target})
    set(LIBRARY ${target})
    set(REQUIRES "${PLIX_QT}Core >= 5.15" "log4cplus >= 2.0")
    foreach(other ${ARGN})
        list(PREPEND REQUIRES "lib${other} = ${PROJECT_VERSION}")
    endforeach()
    list(JOIN REQUIRES ", " REQUIRES)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/libplix.pc.in ${PROJECT_BINARY_DIR}/${NAME}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${NAME}.pc DESTINATION ${folder} COMPONENT dev)
endfunction()

# The files that belong to no single target.
function(plix_install)
    set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/plix)
    configure_package_config_file(cmake/plixConfig.cmake.in ${PROJECT_BINARY_DIR}/plixConfig.cmake
        INSTALL_DESTINATION ${package_folder} NO_SET_AND_CHECK_MACRO)
    write_basic_package_version_file(${PROJECT_BINARY_DIR}/plixConfigVersion.cmake
        COMPATIBILITY SameMinorVersion)
    install(FILES
        ${PROJECT_BINARY_DIR}/plixConfig.cmake ${PROJECT_BINARY_DIR}/plixConfigVersion.cmake
        DESTINATION ${package_folder} COMPONENT dev)
    install(EXPORT plixTargets NAMESPACE plix:: DESTINATION ${package_folder} COMPONENT dev)
    install(FILES CHANGELOG.md docs/architecture.md docs/http-api.md docs/openapi.yaml
        docs/operating.md docs/porting.md docs/security.md docs/settings.md
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libplix-dev COMPONENT dev)
    install(PROGRAMS tools/porting-check
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libplix-dev/tools COMPONENT dev)
    install(DIRECTORY examples
        DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/libplix-dev COMPONENT dev)

    install(FILES packaging/logging.properties
        DESTINATION ${CMAKE_INSTALL_DATADIR}/plix COMPONENT simulator)
    install(DIRECTORY web DESTINATION ${CMAKE_INSTALL_DATADIR}/plix COMPONENT simulator)
    install(FILES docs/man/plixhost.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT simulator)
    # Relative to the prefix as systemd's own search path is, whatever the library folder. The package
    # has it from debhelper, which knows where its release of Debian wants it.
    install(FILES packaging/plixhost.service DESTINATION lib/systemd/system COMPONENT service)
endfunction()

# The target "packages": Debian packages of what this folder has built, in packages/.
function(plix_packages_target)
    set(options)
    if(NOT PLIX_GSTREAMER)
        list(APPEND options -Ppkg.plix.nogstreamer)
    endif()
    if(PLIX_DEBIAN_ARCHITECTURE)
        list(APPEND options -a${PLIX_DEBIAN_ARCHITECTURE})
    endif()
    add_custom_target(packages
        COMMAND ${CMAKE_COMMAND} -E env PLIX_BUILD_FOLDER=${PROJECT_BINARY_DIR}
            "DEB_BUILD_OPTIONS=noautodbgsym nocheck"
            ${PROJECT_SOURCE_DIR}/tools/debs ${PROJECT_BINARY_DIR}/packages ${options}
        USES_TERMINAL VERBATIM)
endfunction()
