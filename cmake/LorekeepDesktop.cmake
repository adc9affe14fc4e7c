# lorekeep_install_desktop_files(): what makes Lorekeep a citizen of the desktop: the menu entry, the
# file types of its libraries and Quick Clip files, the software-centre description, the hicolor icons
# for the program and its files, and the manual pages.
# The PNGs are made in resources/icons: 16 and 24 from the hand-drawn XPMs, 32 from lorekeep-small.svg,
# the rest from lorekeep.svg, e.g.
#   convert lorekeep-16.xpm -strip PNG32:lorekeep-16.png
#   rsvg-convert -w 32 -h 32 lorekeep-small.svg | convert - -strip PNG32:lorekeep-32.png
#   rsvg-convert -w 128 -h 128 lorekeep.svg | convert - -strip PNG32:lorekeep-128.png
include(GNUInstallDirs)

set(LOREKEEP_APP_ID org.lorekeep.Lorekeep)
# Where the software centre sends people, and where it finds the screenshots of docs/ (under
# "screenshots/"); a packager sets it to the project's real address.
set(LOREKEEP_HOMEPAGE "https://lorekeep.org" CACHE STRING "Lorekeep's web site, for the AppStream metadata")

function(lorekeep_install_desktop_files)
  set(res ${PROJECT_SOURCE_DIR}/resources)
  configure_file(${res}/${LOREKEEP_APP_ID}.metainfo.xml.in
                 ${PROJECT_BINARY_DIR}/${LOREKEEP_APP_ID}.metainfo.xml @ONLY)
  install(FILES ${res}/${LOREKEEP_APP_ID}.desktop DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
  install(FILES ${PROJECT_BINARY_DIR}/${LOREKEEP_APP_ID}.metainfo.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/metainfo)
  install(FILES ${res}/${LOREKEEP_APP_ID}.mime.xml DESTINATION ${CMAKE_INSTALL_DATADIR}/mime/packages
          RENAME ${LOREKEEP_APP_ID}.xml)
  # Every size gets its own hicolor folder so themes use the hand-tuned small bitmaps instead of
  # shrinking the SVG into a blur. A library file shows the program's own picture.
  foreach(size 16 24 32 48 64 128 256)
    set(dir ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size})
    install(FILES ${res}/icons/lorekeep-${size}.png DESTINATION ${dir}/apps RENAME lorekeep.png)
    install(FILES ${res}/icons/lorekeep-${size}.png DESTINATION ${dir}/mimetypes
            RENAME application-x-lorekeep-store.png)
  endforeach()
  install(FILES ${res}/icons/lorekeep.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
  install(FILES ${res}/icons/lorekeep.svg DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/mimetypes
          RENAME application-x-lorekeep-store.svg)
  foreach(page lorekeep lkrtf lkimport lkfind lkcopy)
    install(FILES ${PROJECT_SOURCE_DIR}/docs/man/${page}.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  endforeach()
endfunction()
