# Makes files parts of a program.

# qvl_embed(TARGET NAME FILE NAMESPACE): defines `const char* const NAMESPACE::NAME` in TARGET, the
# text of FILE.
if(NOT CMAKE_SCRIPT_MODE_FILE)
  set(QVL_EMBED_SCRIPT ${CMAKE_CURRENT_LIST_FILE})
  function(qvl_embed target name file namespace)
    set(source ${CMAKE_CURRENT_BINARY_DIR}/${name}.cpp)
    add_custom_command(OUTPUT ${source}
      COMMAND ${CMAKE_COMMAND} -D name=${name} -D file=${CMAKE_CURRENT_SOURCE_DIR}/${file}
        -D namespace=${namespace} -D source=${source} -P ${QVL_EMBED_SCRIPT}
      DEPENDS ${file} ${QVL_EMBED_SCRIPT}
      VERBATIM)
    target_sources(${target} PRIVATE ${source})
  endfunction()
  return()
endif()

file(READ ${file} text)
file(WRITE ${source} "namespace ${namespace} {
extern const char* const ${name};
const char* const ${name} = R\"~~embedded~~(${text})~~embedded~~\";
}
")
