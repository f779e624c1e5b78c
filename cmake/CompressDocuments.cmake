# Called by CPack between installation and packing. Without a name and a time in the result it is the same each time.
file(GLOB_RECURSE DOCUMENTS "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
list(FILTER DOCUMENTS INCLUDE REGEX "/share/(man/man[0-9]/.*\\.[0-9]|doc/[^/]*/changelog)$")
if(NOT DOCUMENTS)
  message(FATAL_ERROR "no manual page was installed below ${CPACK_TEMPORARY_INSTALL_DIRECTORY}")
endif()
execute_process(COMMAND gzip -9 --no-name --force ${DOCUMENTS} COMMAND_ERROR_IS_FATAL ANY)
