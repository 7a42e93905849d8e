# What an installation holds, and how other builds find it.

include(CMakePackageConfigHelpers)

# qvl_install_package(TARGET PACKAGE COMPONENT DEVELOPMENT): installs the shared library TARGET with
# COMPONENT, and with DEVELOPMENT a CMake package and a pkg-config file of the name PACKAGE. Both find
# the rest of the installation from where they stand, so that it can be moved.
function(qvl_install_package target package component development)
  install(TARGETS ${target} EXPORT ${target}
    LIBRARY DESTINATION lib64 COMPONENT ${component} NAMELINK_COMPONENT ${development})

  # Debian's CMake does not look for packages in lib64; it looks in share everywhere.
  set(folder "share/cmake/${package}")
  set(config "${PROJECT_BINARY_DIR}/${package}Config.cmake")
  set(version "${PROJECT_BINARY_DIR}/${package}ConfigVersion.cmake")
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/${package}Config.cmake.in"
    "${config}" INSTALL_DESTINATION "${folder}" NO_SET_AND_CHECK_MACRO)
  # As long as the major version stays, what was built before goes on working.
  write_basic_package_version_file("${version}" COMPATIBILITY SameMajorVersion)
  install(FILES "${config}" "${version}" DESTINATION "${folder}" COMPONENT ${development})
  install(EXPORT ${target} NAMESPACE qvl:: FILE "${package}Targets.cmake"
    DESTINATION "${folder}" COMPONENT ${development})

  set(pkgconfig "${PROJECT_BINARY_DIR}/${package}.pc")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${package}.pc.in" "${pkgconfig}" @ONLY)
  install(FILES "${pkgconfig}" DESTINATION lib64/pkgconfig COMPONENT ${development})
endfunction()

# qvl_install_manual(COMPONENT PAGE...): installs manual pages from docs/man/.
function(qvl_install_manual component)
  foreach(page IN LISTS ARGN)
    string(REGEX REPLACE ".*\\." "" section "${page}")
    install(FILES "${PROJECT_SOURCE_DIR}/docs/man/${page}"
      DESTINATION "share/man/man${section}" COMPONENT ${component})
  endforeach()
endfunction()

# qvl_install_documents(): installs the licence, the documents and the examples, side by side as in the
# source tree, so that their links lead somewhere.
function(qvl_install_documents)
  set(folder "share/doc/${PROJECT_NAME}")
  foreach(name IN ITEMS README.md LICENSE CHANGELOG.md SECURITY.md)
    install(FILES "${PROJECT_SOURCE_DIR}/${name}" DESTINATION "${folder}" COMPONENT runtime)
  endforeach()
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs" DESTINATION "${folder}" COMPONENT runtime
    FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "man" EXCLUDE PATTERN "api" EXCLUDE)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" DESTINATION "${folder}" COMPONENT runtime
    FILES_MATCHING PATTERN "*.xml" PATTERN "*.cpp" PATTERN "*.c")
endfunction()

# qvl_install_home(): installs the folders that the library works in. What is in them already stays:
# a new version must not undo what the system's user has set.
function(qvl_install_home)
  install(CODE "
    set(source \"${PROJECT_SOURCE_DIR}/config/traceValues.xml\")
    set(folder \"\${CMAKE_INSTALL_PREFIX}/config\")
    if(NOT EXISTS \"\$ENV{DESTDIR}\${folder}/traceValues.xml\")
      file(INSTALL DESTINATION \"\${folder}\" TYPE FILE FILES \"\${source}\")
    endif()" COMPONENT runtime)
  install(DIRECTORY DESTINATION var COMPONENT runtime)
endfunction()

# qvl_install_uninstaller(): installs a script that removes what was installed before this call.
function(qvl_install_uninstaller)
  install(CODE "
    set(template \"${PROJECT_SOURCE_DIR}/cmake/uninstall.sh.in\")
    set(own share/${PROJECT_NAME}/uninstall)
    include(\"${PROJECT_SOURCE_DIR}/cmake/WriteUninstaller.cmake\")" COMPONENT uninstaller)
endfunction()
