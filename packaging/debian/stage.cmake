# Run by cpack on the files as they will be packed: pages and changelog compressed as Debian has them, and every
# file of one date, so that the same sources give the same package.
file(GLOB pages ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man?/*
     ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/rcbench/changelog)
if(NOT pages)
  message(FATAL_ERROR "no man pages to pack in ${CPACK_TEMPORARY_DIRECTORY}")
endif()
execute_process(COMMAND gzip -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch -h -d @$ENV{SOURCE_DATE_EPOCH} {} +
                COMMAND_ERROR_IS_FATAL ANY)
