# SPDX-License-Identifier: MIT
# What is installed, and the Debian package of it, which `cpack` makes in the build directory. Benches, fuzzers
# and tests are not installed.

include_guard(GLOBAL)
include(GNUInstallDirs)

install(TARGETS ORBRouteService orbctl) # side by side: orbctl looks for the service beside itself

# README.md and docs/ keep their places to each other, and with them their links.
set(documents ${CMAKE_INSTALL_DATADIR}/doc/orbroute)
install(FILES README.md packaging/copyright DESTINATION ${documents})
install(DIRECTORY docs DESTINATION ${documents})
install(FILES packaging/receivers.json DESTINATION ${documents}/examples)
install(FILES packaging/orbctl.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(FILES packaging/ORBRouteService.8 DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orbroute)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "ORBRouteService developers <orbroute@localhost>")
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"plays sound in step on AirPlay receivers
ORBRouteService takes the sound of a virtual audio device and plays it, without
a gap, on one receiver or on a group of them.

orbctl starts it for a sound file or a stream, shows what happens, and writes a
report about what was heard.")
include(CPack)
