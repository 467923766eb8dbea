# Runs before anything is installed: refuses an image whose own links would lead the installation out of it.
# cmake follows them as the workstation does, and an absolute one starts at the workstation's root.
if(NOT "$ENV{DESTDIR}" STREQUAL "")
  file(REAL_PATH "$ENV{DESTDIR}" root)
  cmake_path(SET place NORMALIZE "${root}${CMAKE_INSTALL_PREFIX}/${RC_SBINDIR}")
  if(EXISTS "${place}" OR IS_SYMLINK "${place}")
    file(REAL_PATH "${place}" real)
    string(FIND "${real}/" "${root}/" inside)
    if(NOT inside EQUAL 0)
      message(FATAL_ERROR "cannot install rc: ${place} leads out of the image, to ${real}; make that link relative")
    endif()
  endif()
endif()
