# Compiles for macOS on Linux, and links nothing: there is no library of macOS here to link with.
# scripts/compile-for-mac calls it with the compiler and the folder of headers.

set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_SYSTEM_PROCESSOR "${QVL_MAC_PROCESSOR}")
set(CMAKE_CXX_COMPILER "${QVL_MAC_COMPILER}")
# Boost 1.74 is older than the standard library of the compiler: it derives from a class that C++17
# took away, and makes enumerators of values that they do not have.
string(JOIN " " CMAKE_CXX_FLAGS_INIT "-isystem ${QVL_MAC_HEADERS}"
  -D_LIBCPP_ENABLE_CXX17_REMOVED_UNARY_BINARY_FUNCTION -Wno-enum-constexpr-conversion)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES
  QVL_MAC_PROCESSOR QVL_MAC_COMPILER QVL_MAC_HEADERS)
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

set(CMAKE_USER_MAKE_RULES_OVERRIDE "${CMAKE_CURRENT_LIST_DIR}/NoLinking.cmake")

# CMake insists on the tools of a linker; and the libraries of Linux must not be found.
set(CMAKE_INSTALL_NAME_TOOL /bin/false CACHE FILEPATH "")
set(CMAKE_OSX_SYSROOT "" CACHE PATH "")
set(CMAKE_FIND_ROOT_PATH "${QVL_MAC_HEADERS}")
foreach(kind IN ITEMS LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
