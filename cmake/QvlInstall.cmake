# What an installation holds, and how other builds find it.

include(CMakePackageConfigHelpers)

# qvl_install_package(TARGET): installs the shared library TARGET, a CMake package and a pkg-config
# file. Both find the rest of the installation from where they stand, so that it can be moved.
function(qvl_install_package target)
  install(TARGETS ${target} EXPORT ${target}
    LIBRARY DESTINATION lib64 COMPONENT runtime NAMELINK_COMPONENT development)

  # Debian's CMake does not look for packages in lib64; it looks in share everywhere.
  set(folder "share/cmake/${PROJECT_NAME}")
  set(config "${PROJECT_BINARY_DIR}/${PROJECT_NAME}Config.cmake")
  set(version "${PROJECT_BINARY_DIR}/${PROJECT_NAME}ConfigVersion.cmake")
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/${PROJECT_NAME}Config.cmake.in"
    "${config}" INSTALL_DESTINATION "${folder}" NO_SET_AND_CHECK_MACRO)
  # As long as the major version stays, what was built before goes on working.
  write_basic_package_version_file("${version}" COMPATIBILITY SameMajorVersion)
  install(FILES "${config}" "${version}" DESTINATION "${folder}" COMPONENT development)
  install(EXPORT ${target} NAMESPACE qvl:: FILE "${PROJECT_NAME}Targets.cmake"
    DESTINATION "${folder}" COMPONENT development)

  set(pkgconfig "${PROJECT_BINARY_DIR}/${PROJECT_NAME}.pc")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${PROJECT_NAME}.pc.in" "${pkgconfig}" @ONLY)
  install(FILES "${pkgconfig}" DESTINATION lib64/pkgconfig COMPONENT development)

  set(manual "${PROJECT_SOURCE_DIR}/docs/man")
  install(FILES "${manual}/qvlscanavoidance.3" DESTINATION share/man/man3 COMPONENT development)
  install(FILES "${manual}/qvl-trace.5" DESTINATION share/man/man5 COMPONENT runtime)
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
