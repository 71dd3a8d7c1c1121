# To create the Debian package: cmake --build --preset release --target package
#
# To distribute the package, set the maintainer:
#   cmake --preset release -DQUILLET_MAINTAINER="Name <address>"
set(QUILLET_MAINTAINER "The Quillet authors <quillet@localhost>" CACHE STRING
    "Maintainer of the Debian package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillet)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "collects the barcodes stored in a Tavo scanner")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Quillet downloads barcodes from a handheld Tavo scanner over USB and delivers
them as lines of text. It writes the lines to a file, shows them in its window,
or types or pastes them into another application.
.
You can choose the contents of a line, the delimiters and the destination. The
settings window shows sample lines.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/Finish.cmake)
set(CPACK_QUILLET_STRIP ${CMAKE_STRIP})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_COMPONENTS_ALL program debian)
install(FILES debian/lintian-overrides DESTINATION share/lintian/overrides RENAME quillet
        COMPONENT debian EXCLUDE_FROM_ALL)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${QUILLET_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# dpkg-shlibdeps finds the required library packages. They include Qt's X11 plugin, but not its
# Wayland plugin.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-wayland, udev")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst ${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
