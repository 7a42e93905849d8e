# Answers find_package with headers alone, for a build that compiles and never links. All headers are
# in the one folder that the toolchain file knows.

set(qvl_mac_Boost Boost::headers Boost::regex Boost::thread Boost::locale)
set(qvl_mac_ICU ICU::uc ICU::i18n)
set(qvl_mac_LibXml2 LibXml2::LibXml2)
set(qvl_mac_GTest GTest::gtest GTest::gtest_main GTest::gmock GTest::gmock_main)
set(qvl_mac_CLI11 CLI11::CLI11)
set(qvl_mac_fmt fmt::fmt)
set(qvl_mac_nlohmann_json nlohmann_json::nlohmann_json)
set(qvl_mac_Threads Threads::Threads)

macro(qvl_mac_find_package method package)
  if(qvl_mac_${package})
    foreach(name IN LISTS qvl_mac_${package})
      if(NOT TARGET ${name})
        add_library(${name} INTERFACE IMPORTED GLOBAL)
      endif()
    endforeach()
    set(${package}_FOUND TRUE)
    foreach(variable IN ITEMS ${package}_VERSION ${package}_VERSION_STRING LIBXML2_VERSION_STRING)
      set(${variable} unknown)
    endforeach()
  endif()
endmacro()

cmake_language(SET_DEPENDENCY_PROVIDER qvl_mac_find_package SUPPORTED_METHODS FIND_PACKAGE)
