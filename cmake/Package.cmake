# The Debian package (cpack -G DEB in a tree configured for /usr): the module,
# the platform libraries and libpanelhost with their SONAMEs, the headers, the
# CMake package config and panelmfd.pc, panelhost with the example scripts and
# layouts. The run-time dependencies are read off the binaries by dpkg-shlibdeps.
set(CPACK_PACKAGE_NAME panelmfd)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "panelmfd developers")
set(CPACK_PACKAGE_CONTACT "panelmfd developers <panelmfd@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Panel-side mainframe driver module, its platform libraries and reference host")
string(CONCAT CPACK_PACKAGE_DESCRIPTION
       "The panel driver module (libpanelmfd.so), the platform libraries it and its hosts link, the host-contract "
       "headers with a CMake package config and a pkg-config file, and panelhost, the reference host that runs "
       "scenario scripts, with the tour.")
set(CPACK_GENERATOR DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
set(CPACK_DEBIAN_FILE_NAME panelmfd_${PROJECT_VERSION}_amd64.deb)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The package's own libraries resolve inside the package.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/lib)
# A shlibs file for the libraries, and the ldconfig trigger with it.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY "=")
# What building against the headers and the package config needs besides.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS
    "libboost-thread-dev, libboost-date-time-dev, libboost-system-dev, libspdlog-dev, libssl-dev, libtinyxml-dev, pkg-config")
include(CPack)
