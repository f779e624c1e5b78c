# What "cmake --install" puts where. A component is a package of packaging/build-packages.sh, so everything that is
# installed names one; the reader library does so in its own folder.
include(GNUInstallDirs)
set(KV_ZSH_COMPLETION_DIR "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" CACHE STRING "Where zsh looks for completions")

# The name of the desktop entry, of the icons and of what they belong to.
set(KV_DESKTOP_ID com.kestrova.kvbankmgr)

# kv_install_common(COMPONENT): what every package has.
function(kv_install_common COMPONENT)
  install(FILES packaging/debian/copyright packaging/debian/changelog
          DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${COMPONENT}" COMPONENT ${COMPONENT})
endfunction()

# kv_install_manual(COMPONENT FILES ...): manual pages, each to the folder of its section.
function(kv_install_manual COMPONENT)
  foreach(PAGE ${ARGN})
    string(REGEX MATCH "[0-9]$" SECTION "${PAGE}")
    install(FILES "docs/man/${PAGE}" DESTINATION "${CMAKE_INSTALL_MANDIR}/man${SECTION}" COMPONENT ${COMPONENT})
  endforeach()
endfunction()

kv_install_common(kvbank)
install(TARGETS kvbank RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT kvbank)
kv_install_manual(kvbank kvbank.1 kvbank-format.5)
install(FILES docs/FORMATS.md docs/GUIDE.md docs/IMPORT.md
        DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/kvbank" COMPONENT kvbank)
install(FILES packaging/completion/kvbank.bash
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" RENAME kvbank COMPONENT kvbank)
install(FILES packaging/completion/_kvbank DESTINATION "${KV_ZSH_COMPLETION_DIR}" COMPONENT kvbank)
install(FILES packaging/completion/kvbank.fish
        DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" COMPONENT kvbank)

set(KV_DESKTOP_FILES "packaging/desktop/${KV_DESKTOP_ID}")
kv_install_common(calderine-bank-manager)
install(TARGETS kvbankmgr RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}" COMPONENT calderine-bank-manager)
kv_install_manual(calderine-bank-manager kvbankmgr.1)
install(FILES "${KV_DESKTOP_FILES}.desktop" DESTINATION "${CMAKE_INSTALL_DATADIR}/applications"
        COMPONENT calderine-bank-manager)
install(FILES "${KV_DESKTOP_FILES}.metainfo.xml" DESTINATION "${CMAKE_INSTALL_DATADIR}/metainfo"
        COMPONENT calderine-bank-manager)
install(FILES "${KV_DESKTOP_FILES}.mime.xml" DESTINATION "${CMAKE_INSTALL_DATADIR}/mime/packages"
        RENAME "${KV_DESKTOP_ID}.xml" COMPONENT calderine-bank-manager)
install(FILES "${KV_DESKTOP_FILES}.svg" DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps"
        COMPONENT calderine-bank-manager)
foreach(SIZE 48 128)
  install(FILES "${KV_DESKTOP_FILES}-${SIZE}.png"
          DESTINATION "${CMAKE_INSTALL_DATADIR}/icons/hicolor/${SIZE}x${SIZE}/apps" RENAME "${KV_DESKTOP_ID}.png"
          COMPONENT calderine-bank-manager)
endforeach()

if(TARGET kvbank_shared)
  kv_install_common(libkvbank1)
  kv_install_common(libkvbank-dev)
  kv_install_manual(libkvbank-dev kvbank.h.3)
endif()
