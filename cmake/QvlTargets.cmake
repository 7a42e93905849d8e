# What all of our own targets have in common.

# qvl_own_target(TARGET): C++17 and the warnings that our code is held to. The warnings stay with the
# target: nothing reaches those who link to it.
function(qvl_own_target target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wconversion -Wshadow)
  # From C++20 on gcc 12 looks into std::string, and sees an overlap in "text" + string that is not
  # there (gcc bug 105651).
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION MATCHES "^12\\."
     AND CMAKE_CXX_STANDARD GREATER 17)
    target_compile_options(${target} PRIVATE -Wno-restrict)
  endif()
  # Between AddressSanitizer's own reads, gcc sees parts of a std::regex read before they are written.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_FLAGS MATCHES "-fsanitize=address")
    target_compile_options(${target} PRIVATE -Wno-maybe-uninitialized)
  endif()
  if(QVL_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
