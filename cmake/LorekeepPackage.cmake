# The Debian package (scripts/package): cpack -G DEB makes lorekeep_<version>_<arch>.deb from the
# install rules, its library dependencies read off the binaries by dpkg-shlibdeps.
set(LOREKEEP_MAINTAINER "The Lorekeep developers" CACHE STRING "The Debian package's Maintainer field")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME lorekeep)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "The Lorekeep developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "library for walkthroughs, cheats, reviews and news about video games")
set(CPACK_PACKAGE_DESCRIPTION
    "Lorekeep files every text about video games you collect (walkthroughs and guides, cheats and codes,\n\
reviews, previews, news and web links) under platform, genre and game. It reads them as rich text,\n\
imports files and web pages, searches the whole collection, keeps bookmarks, favorites and Quick\n\
Clips, prints and exports to PDF, and backs the library up every day. The command-line tools\n\
lkimport, lkfind and lkrtf work on the same libraries.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_INSTALL_DIRECTORY /usr)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${LOREKEEP_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "${LOREKEEP_HOMEPAGE}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# Loaded at run time, so no binary names them: the store's SQL driver and the window-system plugins.
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6sql6-sqlite, libqt6sql6-psql, qt6-qpa-plugins")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "fonts-dejavu-core")

include(CPack)
