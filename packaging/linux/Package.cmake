# The Debian package: cmake --build --preset release --target package
#
# Whoever gives it to others says who they are:
#   cmake --preset release -DQUILLET_MAINTAINER="Name <address>"
# Without that it is for the computer on which it was built.
set(QUILLET_MAINTAINER "The Quillet authors <quillet@localhost>" CACHE STRING
    "Who answers for the Debian package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quillet)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "collects the barcodes stored in a Tavo scanner")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Quillet fetches the barcodes that a handheld Tavo scanner has stored, over its
USB cable, and delivers them as lines of text: into a file, into its own
window, or into another application, typed or pasted.
.
What a line contains, how its fields are separated and where it goes is chosen
in a window that shows a sample of it.")
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ALL_COMPONENTS_IN_ONE)
set(CPACK_COMPONENTS_ALL program debian)
install(FILES debian/lintian-overrides DESTINATION share/lintian/overrides RENAME quillet
        COMPONENT debian EXCLUDE_FROM_ALL)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${QUILLET_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
# The libraries are found out from the program. It runs no other program and loads nothing by name
# but Qt's own plugins: the one for X comes with Qt's libraries, the one for Wayland does not.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-wayland, udev")
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/debian/postinst ${CMAKE_CURRENT_SOURCE_DIR}/debian/postrm)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
include(CPack)
