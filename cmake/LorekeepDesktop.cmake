# lorekeep_install_desktop_files(): menu entry and hicolor icons, so desktops can list and theme Lorekeep.
# The PNGs are made in resources/icons: 16 and 24 from the hand-drawn XPMs, 32 from lorekeep-small.svg,
# the rest from lorekeep.svg, e.g.
#   convert lorekeep-16.xpm -strip PNG32:lorekeep-16.png
#   rsvg-convert -w 32 -h 32 lorekeep-small.svg | convert - -strip PNG32:lorekeep-32.png
#   rsvg-convert -w 128 -h 128 lorekeep.svg | convert - -strip PNG32:lorekeep-128.png
include(GNUInstallDirs)

function(lorekeep_install_desktop_files)
  set(res ${PROJECT_SOURCE_DIR}/resources)
  install(FILES ${res}/lorekeep.desktop
          DESTINATION ${CMAKE_INSTALL_DATADIR}/applications)
  # Every size gets its own hicolor folder so themes use the hand-tuned small bitmaps instead of
  # shrinking the SVG into a blur.
  foreach(size 16 24 32 48 64 128 256)
    install(FILES ${res}/icons/lorekeep-${size}.png
            DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/${size}x${size}/apps
            RENAME lorekeep.png)
  endforeach()
  install(FILES ${res}/icons/lorekeep.svg
          DESTINATION ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps)
endfunction()
