# SPDX-License-Identifier: MIT

# Debian packages: `cpack -G DEB` in a build folder, or `cmake --workflow --preset package`.

set(CPACK_PACKAGE_NAME plix)
set(CPACK_PACKAGE_VENDOR plix)
set(CPACK_PACKAGE_CONTACT "plix maintainers <maintainers@plix.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_GENERATOR DEB)
# Each package has a summary of its own, the first line of its description.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_COMPONENTS_ALL webserver dev simulator)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Where the packages' libraries find each other while they are packed.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

# The libraries are private to packages of one version until their interface has settled.
set(same_version "plix-webserver (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_WEBSERVER_PACKAGE_NAME plix-webserver)
set(CPACK_DEBIAN_WEBSERVER_PACKAGE_SECTION net)
# Both are programs and modules that no library dependency speaks of: the device's certificate is
# made with the one; the other reads certificates, and the proxy fetches with it.
set(CPACK_DEBIAN_WEBSERVER_PACKAGE_DEPENDS "openssl, glib-networking")
set(CPACK_COMPONENT_WEBSERVER_DESCRIPTION "Web server plug-in of a networked streaming device
Static and template pages, a JSON API to the data model, event queues, relayed
streams, firmware upload and a reverse proxy, over HTTP and HTTPS, with the
platform libraries that the plug-in runs on.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libplix-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "${same_version}, qtbase5-dev (>= 5.15), liblog4cplus-dev, pkg-config")
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DEV_DESCRIPTION "Development files for workers and hosts of the plix platform
Headers, CMake package and pkg-config files of the platform libraries, with a
small host program as an example and the porting guide.")

set(CPACK_DEBIAN_SIMULATOR_PACKAGE_NAME plix-simulator)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION net)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_DEPENDS "${same_version}")
# A plug-in of Qt that keeps the library of one's own music; without it there are file names.
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_RECOMMENDS "libqt5sql5-sqlite")
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_CONTROL_EXTRA
    ${PROJECT_SOURCE_DIR}/packaging/postinst ${PROJECT_SOURCE_DIR}/packaging/prerm)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_COMPONENT_SIMULATOR_DESCRIPTION "Simulated networked streaming device with a web interface
The host program plixhost, workers that simulate a device, its web interface,
and a hardened service that is started on request only, because everyone on the
network may use the device.")

if(PLIX_GSTREAMER)
    list(APPEND CPACK_COMPONENTS_ALL gstreamer)
endif()
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_NAME plix-player-gstreamer)
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_DEPENDS "${same_version}")
# Plug-ins that are loaded when a file or an output needs them: docs/playing.md tells which does.
string(JOIN ", " CPACK_DEBIAN_GSTREAMER_PACKAGE_RECOMMENDS
    gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-libav gstreamer1.0-alsa
    gstreamer1.0-pulseaudio)
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/gstreamer/postinst)
set(CPACK_DEBIAN_GSTREAMER_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_COMPONENT_GSTREAMER_DESCRIPTION "Sound for the player of a networked streaming device
The program with which the player of plix-simulator plays files and radio
stations through GStreamer, and the service's access to sound devices. Used when
the setting settings:/player/engine is gstreamer.")

include(CPack)
