# Debian packages: `cpack` in the build folder makes of what is installed a run-time and a development
# package of the engine, the same of the policy library, and one each of qvlctl, of the Python package
# with qvl-fleet, and of the on-access host, all in the same place,
# and makes them known to the system.

function(qvl_debian_file name)
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/debian/${name}" CONTENT "${ARGN}\n" @ONLY)
endfunction()

# Not part of an installation by `cmake --install`, which keeps to its prefix.
set(home "${CMAKE_INSTALL_PREFIX}")
qvl_debian_file(${PROJECT_NAME}.conf "${home}/lib64")
install(FILES "${PROJECT_BINARY_DIR}/debian/${PROJECT_NAME}.conf" DESTINATION /etc/ld.so.conf.d
  COMPONENT runtime-system EXCLUDE_FROM_ALL)
# qvl_link_into_system(COMPONENT FOLDER...): links from the folders of the system to the files that
# the package has in its folders of the same names.
function(qvl_link_into_system component)
  install(CODE "
    set(root \"\$ENV{DESTDIR}\")
    foreach(folder IN ITEMS ${ARGN})
      file(GLOB targets \"\${root}\${CMAKE_INSTALL_PREFIX}/\${folder}/*\")
      file(MAKE_DIRECTORY \"\${root}/usr/\${folder}\")
      foreach(target IN LISTS targets)
        get_filename_component(name \"\${target}\" NAME)
        string(REPLACE \"\${root}\" \"\" target \"\${target}\")
        file(CREATE_LINK \"\${target}\" \"\${root}/usr/\${folder}/\${name}\" SYMBOLIC)
      endforeach()
    endforeach()" COMPONENT ${component} EXCLUDE_FROM_ALL)
endfunction()
qvl_link_into_system(runtime-system share/man/man5)
qvl_link_into_system(development-system share/man/man3)
if(TARGET qvlpolicy)
  qvl_link_into_system(policy-system share/man/man5)
  qvl_link_into_system(policy_development-system share/man/man3)
  qvl_link_into_system(python-system bin lib/python3/dist-packages share/man/man1)
endif()
if(QVL_BUILD_TOOLS)
  qvl_link_into_system(tool-system bin share/man/man1
    share/bash-completion/completions share/zsh/site-functions)
endif()
if(TARGET qvl-onaccess)
  qvl_link_into_system(onaccess-system bin share/man/man8)
  install(FILES "${PROJECT_SOURCE_DIR}/hosts/onaccess/qvl-onaccess.conf" DESTINATION /etc
    COMPONENT onaccess-system EXCLUDE_FROM_ALL)
  install(FILES "${PROJECT_BINARY_DIR}/hosts/onaccess/qvl-onaccess.service"
    DESTINATION /lib/systemd/system COMPONENT onaccess-system EXCLUDE_FROM_ALL)
  # Its documents are those of the library, which it needs anyway.
  install(CODE "
    file(MAKE_DIRECTORY \"\$ENV{DESTDIR}/usr/share/doc\")
    file(CREATE_LINK \"\${CMAKE_INSTALL_PREFIX}/share/doc/${PROJECT_NAME}\"
      \"\$ENV{DESTDIR}/usr/share/doc/qvl-onaccess\" SYMBOLIC)"
    COMPONENT onaccess-system EXCLUDE_FROM_ALL)
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX "${home}")
set(CPACK_PACKAGE_VENDOR "Varnel")
set(CPACK_PACKAGE_CONTACT "qvlscanavoidance maintainers <maintainers@varnel.example>")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}/qvl"
  "${PROJECT_BINARY_DIR}/qvlpolicy")
set(CPACK_DEBIAN_PACKAGE_SECTION libs)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has one of its own
set(CPACK_COMPONENTS_ALL runtime runtime-system development development-system)
if(TARGET qvlpolicy)
  list(APPEND CPACK_COMPONENTS_ALL policy policy-system policy_development policy_development-system
    python python-system)
endif()
if(QVL_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tool tool-system)
endif()
if(TARGET qvl-onaccess)
  list(APPEND CPACK_COMPONENTS_ALL onaccess onaccess-system)
endif()

set(runtime "libqvlscanavoidance${PROJECT_VERSION_MAJOR}")
set(same_runtime "${runtime} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "${runtime}")
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "Exclusion engine of an on-access file scanner
 The shared library and the folders that it works in.")
qvl_debian_file(conffiles
  "${home}/config/traceValues.xml\n/etc/ld.so.conf.d/${PROJECT_NAME}.conf")
qvl_debian_file(triggers "activate-noawait ldconfig")
set(log "${QVL_HOME}/var/ScanAvoidanceTraces.log")
qvl_debian_file(postrm "#!/bin/sh
set -e
if [ \"$1\" = purge ]; then
  rm -f '${log}'
  for folder in '${home}/var' '${home}/config'; do
    [ ! -d \"$folder\" ] || rmdir -p --ignore-fail-on-non-empty \"$folder\"
  done
fi")
file(CHMOD "${PROJECT_BINARY_DIR}/debian/postrm" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
  GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
file(CHMOD "${PROJECT_BINARY_DIR}/debian/conffiles" "${PROJECT_BINARY_DIR}/debian/triggers"
  PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/conffiles"
  "${PROJECT_BINARY_DIR}/debian/triggers" "${PROJECT_BINARY_DIR}/debian/postrm")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libqvlscanavoidance-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${same_runtime}")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Exclusion engine of a file scanner, for building hosts
 Headers, the CMake package, the pkg-config file and manual pages.")

set(policy "libqvlpolicy${PROJECT_VERSION_MAJOR}")
set(same_policy "${policy} (= ${PROJECT_VERSION})")

set(CPACK_DEBIAN_POLICY_PACKAGE_NAME "${policy}")
set(CPACK_DEBIAN_POLICY_PACKAGE_DEPENDS "${same_runtime}")
set(CPACK_COMPONENT_POLICY_DESCRIPTION "Policies of an exclusion engine: from a file to answers
 The shared library that reads policy files and answers from them, and their schema.")
qvl_debian_file(policy/triggers "activate-noawait ldconfig")
file(CHMOD "${PROJECT_BINARY_DIR}/debian/policy/triggers" PERMISSIONS OWNER_READ OWNER_WRITE
  GROUP_READ WORLD_READ)
set(CPACK_DEBIAN_POLICY_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/policy/triggers")
set(CPACK_DEBIAN_POLICY_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_POLICY_DEVELOPMENT_PACKAGE_NAME libqvlpolicy-dev)
set(CPACK_DEBIAN_POLICY_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_POLICY_DEVELOPMENT_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_POLICY_DEVELOPMENT_PACKAGE_DEPENDS
  "${same_policy}, libqvlscanavoidance-dev (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_POLICY_DEVELOPMENT_DESCRIPTION "Policies of an exclusion engine, for hosts
 Headers for C and C++, the CMake package, the pkg-config file and the manual page.")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-qvlscanavoidance)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "${same_policy}, python3, python3-numpy, python3-pandas, \
python3-dask, python3-distributed")
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS python3-zstandard)
set(CPACK_COMPONENT_PYTHON_DESCRIPTION "Policies of an exclusion engine in Python, and qvl-fleet
 Loads policies and asks about columns of paths; qvl-fleet asks about the files of many machines, on all
 cores or on a Dask cluster.")
# As Debian's helpers do it: compiled when it is installed, so that nobody who runs it leaves files.
qvl_debian_file(python/postinst "#!/bin/sh
set -e
py3compile -p python3-qvlscanavoidance '${home}/lib/python3/dist-packages'")
qvl_debian_file(python/prerm "#!/bin/sh
set -e
py3clean -p python3-qvlscanavoidance")
file(CHMOD "${PROJECT_BINARY_DIR}/debian/python/postinst" "${PROJECT_BINARY_DIR}/debian/python/prerm"
  PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/python/postinst"
  "${PROJECT_BINARY_DIR}/debian/python/prerm")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME qvlctl)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${same_runtime}, ${same_policy}")
set(CPACK_COMPONENT_TOOL_DESCRIPTION "Asks, explains and audits what a policy excludes from scanning
 The command-line host of the exclusion engine.")

if(TARGET qvl-onaccess)
  set(CPACK_DEBIAN_ONACCESS_PACKAGE_NAME qvl-onaccess)
  set(CPACK_DEBIAN_ONACCESS_PACKAGE_SECTION admin)
  set(CPACK_DEBIAN_ONACCESS_PACKAGE_DEPENDS "${same_runtime}")
  if(DEFINED same_policy)
    string(APPEND CPACK_DEBIAN_ONACCESS_PACKAGE_DEPENDS ", ${same_policy}")
  endif()
  set(CPACK_DEBIAN_ONACCESS_PACKAGE_RECOMMENDS clamav-daemon)
  set(CPACK_COMPONENT_ONACCESS_DESCRIPTION "Scans files when they are opened, with exclusions
 An on-access host for Linux over fanotify and clamd. It watches nothing until it is configured
 and its service is enabled.")
  # The service is neither enabled nor started: there is no policy yet. One that runs goes on as the new
  # version.
  qvl_debian_file(onaccess/conffiles "/etc/qvl-onaccess.conf")
  qvl_debian_file(onaccess/postinst "#!/bin/sh
set -e
[ -d /run/systemd/system ] || exit 0
systemctl daemon-reload
[ \"$1\" != configure ] || [ -z \"$2\" ] || systemctl try-restart qvl-onaccess")
  qvl_debian_file(onaccess/prerm "#!/bin/sh
set -e
[ \"$1\" != remove ] || [ ! -d /run/systemd/system ] || systemctl disable --now qvl-onaccess")
  qvl_debian_file(onaccess/postrm "#!/bin/sh
set -e
[ ! -d /run/systemd/system ] || systemctl daemon-reload")
  file(CHMOD "${PROJECT_BINARY_DIR}/debian/onaccess/conffiles" PERMISSIONS OWNER_READ OWNER_WRITE
    GROUP_READ WORLD_READ)
  file(CHMOD "${PROJECT_BINARY_DIR}/debian/onaccess/postinst"
    "${PROJECT_BINARY_DIR}/debian/onaccess/prerm" "${PROJECT_BINARY_DIR}/debian/onaccess/postrm" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
    GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  set(CPACK_DEBIAN_ONACCESS_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/debian/onaccess/conffiles"
    "${PROJECT_BINARY_DIR}/debian/onaccess/postinst" "${PROJECT_BINARY_DIR}/debian/onaccess/prerm"
    "${PROJECT_BINARY_DIR}/debian/onaccess/postrm")
  set(CPACK_DEBIAN_ONACCESS_PACKAGE_CONTROL_STRICT_PERMISSION ON)
endif()

include(CPack)
# What is only for packages goes into the package of what it makes known.
foreach(component IN ITEMS runtime development policy policy_development python tool)
  cpack_add_component_group(${component})
  cpack_add_component(${component} GROUP ${component})
  cpack_add_component(${component}-system GROUP ${component})
endforeach()
if(TARGET qvl-onaccess)
  cpack_add_component_group(onaccess)
  cpack_add_component(onaccess GROUP onaccess)
  cpack_add_component(onaccess-system GROUP onaccess)
endif()
