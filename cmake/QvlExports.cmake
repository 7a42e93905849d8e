# Keeps the exported symbols of a shared library to those of a list in abi/.

# qvl_limit_exports(TARGET LIST): links the shared library TARGET with abi/LIST. Elsewhere than on macOS
# the symbols get the version QVL_<major>, so that two majors can live in one process.
function(qvl_limit_exports target list)
  set(patterns_file "${PROJECT_SOURCE_DIR}/abi/${list}")
  file(STRINGS "${patterns_file}" patterns REGEX "^[^#]")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${patterns_file}")
  if(APPLE)
    set(file "${CMAKE_CURRENT_BINARY_DIR}/${target}.exported")
    list(TRANSFORM patterns PREPEND "_")
    list(JOIN patterns "\n" text)
    set(option "-Wl,-exported_symbols_list,${file}")
  else()
    set(file "${CMAKE_CURRENT_BINARY_DIR}/${target}.map")
    list(JOIN patterns ";\n    " text)
    set(text "QVL_${PROJECT_VERSION_MAJOR} {\n  global:\n    ${text};\n  local:\n    *;\n};")
    set(option "-Wl,--version-script,${file}")
  endif()
  file(CONFIGURE OUTPUT "${file}" CONTENT "${text}\n")
  target_link_options(${target} PRIVATE "${option}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${file}")
endfunction()

# qvl_check_exports(TARGET LIST): has the build compare what TARGET exports with abi/LIST.
function(qvl_check_exports target list)
  if(APPLE OR NOT CMAKE_NM)
    return()
  endif()
  set(script "${PROJECT_SOURCE_DIR}/abi/compare-symbols.sh")
  set(stamp "${CMAKE_CURRENT_BINARY_DIR}/${target}.exports-checked")
  add_custom_command(OUTPUT "${stamp}"
    COMMAND "${CMAKE_COMMAND}" -E env "NM=${CMAKE_NM}" "LIST=${PROJECT_SOURCE_DIR}/abi/${list}"
      "${script}" "$<TARGET_FILE:${target}>"
    COMMAND "${CMAKE_COMMAND}" -E touch "${stamp}"
    DEPENDS ${target} "${script}" "${PROJECT_SOURCE_DIR}/abi/${list}"
    COMMENT "Comparing the exported symbols"
    VERBATIM)
  add_custom_target(${target}_exports ALL DEPENDS "${stamp}")
endfunction()
