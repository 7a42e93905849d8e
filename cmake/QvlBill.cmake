# Bills of materials, in SPDX's tag-value format: what a shared library or program is built on.

# qvl_bill(TARGET COMPONENT [NAME VERSION LICENSE HOMEPAGE]...): installs TARGET.spdx with the
# component. Its namespace tells the version and, when SOURCE_DATE_EPOCH is set, is the same whenever
# it is made.
function(qvl_bill target component)
  string(TIMESTAMP created "%Y-%m-%dT%H:%M:%SZ" UTC)
  string(TIMESTAMP seconds "%s" UTC)
  set(text "SPDXVersion: SPDX-2.3
DataLicense: CC0-1.0
SPDXID: SPDXRef-DOCUMENT
DocumentName: ${target}-${PROJECT_VERSION}
DocumentNamespace: urn:varnel:qvl:spdx:${target}-${PROJECT_VERSION}-${seconds}
Creator: Tool: CMake-${CMAKE_VERSION}
Created: ${created}

PackageName: ${target}
SPDXID: SPDXRef-${target}
PackageVersion: ${PROJECT_VERSION}
PackageDownloadLocation: NOASSERTION
FilesAnalyzed: false
PackageLicenseConcluded: Apache-2.0
PackageLicenseDeclared: Apache-2.0
PackageCopyrightText: NOASSERTION
Relationship: SPDXRef-DOCUMENT DESCRIBES SPDXRef-${target}
")
  while(ARGN)
    list(POP_FRONT ARGN name version license homepage)
    if(NOT version)
      message(FATAL_ERROR "expected a version of ${name} for the bill of materials, and found none")
    endif()
    string(REPLACE "_" "-" id "${name}")
    string(APPEND text "
PackageName: ${name}
SPDXID: SPDXRef-${id}
PackageVersion: ${version}
PackageDownloadLocation: NOASSERTION
PackageHomePage: ${homepage}
FilesAnalyzed: false
PackageLicenseConcluded: ${license}
PackageLicenseDeclared: ${license}
PackageCopyrightText: NOASSERTION
Relationship: SPDXRef-${target} DEPENDS_ON SPDXRef-${id}
")
  endwhile()
  set(file "${CMAKE_CURRENT_BINARY_DIR}/${target}.spdx")
  file(WRITE "${file}" "${text}")
  install(FILES "${file}" DESTINATION share/${PROJECT_NAME} COMPONENT ${component})
endfunction()
