# The Debian packages that CPack makes, one of each component of KvInstall.cmake. packaging/build-packages.sh calls it.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_CONTACT "The Calderine Bank Manager developers <developers@kestrova.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}")
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                                                WORLD_READ WORLD_EXECUTE)
# The manual pages and the list of changes are compressed in packages alone.
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/CompressDocuments.cmake")

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_COMPONENTS_ALL)

# kv_package(NAME SECTION SUMMARY DESCRIPTION): the lines of a description are wrapped here.
macro(kv_package NAME SECTION SUMMARY DESCRIPTION)
  string(TOUPPER "${NAME}" UPPER)
  list(APPEND CPACK_COMPONENTS_ALL ${NAME})
  set(CPACK_DEBIAN_${UPPER}_PACKAGE_NAME ${NAME})
  set(CPACK_DEBIAN_${UPPER}_PACKAGE_SECTION ${SECTION})
  set(CPACK_DEBIAN_${UPPER}_DESCRIPTION "${SUMMARY}\n${DESCRIPTION}")
  set(CPACK_COMPONENT_${UPPER}_DESCRIPTION "${SUMMARY}\n${DESCRIPTION}")
endmacro()

kv_package(kvbank sound "make and check the banks of a sampled instrument"
"Turns the one source bank of a sampled instrument, or a sound font, into
banks that play straight from disk, one for each sample rate, and lists,
checks and removes them, in the terminal.")

kv_package(calderine-bank-manager sound "manager of the banks of a sampled instrument"
"A window that turns the one source bank of a sampled instrument into banks
that play straight from disk, one for each sample rate, and removes them
again. The package kvbank does the same in the terminal.")
set(CPACK_DEBIAN_CALDERINE-BANK-MANAGER_PACKAGE_SUGGESTS kvbank)

if(TARGET kvbank_shared)
  kv_package(libkvbank1 libs "reader of the banks of a sampled instrument"
"A library for players: it opens a bank, finds the region of a key and a
velocity, and points to the frames of its samples without a copy.")

  kv_package(libkvbank-dev libdevel "reader of the banks of a sampled instrument, for developers"
"The header, the static library and the files of pkg-config and CMake that a
player needs which is compiled with libkvbank.")
  set(CPACK_DEBIAN_LIBKVBANK-DEV_PACKAGE_DEPENDS "libkvbank1 (= ${PROJECT_VERSION})")
endif()

include(CPack)
