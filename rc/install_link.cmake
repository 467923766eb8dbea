# Links /sbin/rc to the program: some commands name it there. Never on the workstation itself, and not where
# /sbin is the programs' own directory.
if("$ENV{DESTDIR}" STREQUAL "")
  message(STATUS "No link /sbin/rc: DESTDIR is not set")
  return()
endif()
file(MAKE_DIRECTORY $ENV{DESTDIR}/sbin)
file(REAL_PATH $ENV{DESTDIR}/sbin sbin)
file(REAL_PATH $ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/sbin programs)
if(NOT sbin STREQUAL programs)
  message(STATUS "Installing: $ENV{DESTDIR}/sbin/rc")
  file(CREATE_LINK ..${CMAKE_INSTALL_PREFIX}/sbin/rc $ENV{DESTDIR}/sbin/rc SYMBOLIC)
endif()
