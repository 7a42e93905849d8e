# Part of an installation: writes the script ${own} from ${template}, which removes the files that
# have been installed until now, and their folders as far as they are empty.

set(files "${own}")
foreach(file IN LISTS CMAKE_INSTALL_MANIFEST_FILES)
  file(RELATIVE_PATH file "${CMAKE_INSTALL_PREFIX}" "${file}")
  if(NOT file STREQUAL "config/traceValues.xml")
    list(APPEND files "${file}")
  endif()
endforeach()
list(REMOVE_DUPLICATES files)

set(folders config var)
foreach(file IN LISTS files)
  get_filename_component(folder "${file}" DIRECTORY)
  while(folder)
    list(APPEND folders "${folder}")
    get_filename_component(folder "${folder}" DIRECTORY)
  endwhile()
endforeach()
# What is inside another folder comes before it.
list(REMOVE_DUPLICATES folders)
list(SORT folders ORDER DESCENDING)

list(JOIN files "\n" files)
list(JOIN folders "\n" folders)
set(script "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${own}")
message(STATUS "Installing: ${script}")
configure_file("${template}" "${script}" @ONLY)
file(CHMOD "${script}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
  WORLD_READ WORLD_EXECUTE)
