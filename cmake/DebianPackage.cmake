# The Debian package: `cpack` in a build folder makes it from what `install` puts into place.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME parlovex)
set(CPACK_PACKAGE_CONTACT "The Parlovex developers <developers@parlovex.test>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Parlovex is a SIP call server (an IP-PBX) for a small office. Telephones
register, their users call each other and send each other messages by a dial
plan, and the console shows and changes the running server at once.
.
It keeps its data in the home of the user who starts it.")
set(CPACK_DEBIAN_PACKAGE_SECTION comm)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "hicolor-icon-theme, qttranslations5-l10n")
# Certificates of web sites, pages in the browser, texts in every language of the console, Wayland without X.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "ca-certificates, fonts-dejavu-core, fonts-wqy-microhei, qtwayland5, xdg-utils")

# The menu entry holds the prefix that it is installed to.
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PRE_BUILD_SCRIPTS ${CMAKE_CURRENT_LIST_DIR}/PackagePermissions.cmake)
include(CPack)
