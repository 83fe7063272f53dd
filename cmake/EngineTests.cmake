# The tests of a build without psltool, for other compilers and processors: those of the engine and of
# the revisions, in qelprfarc_engine_tests. The test library is compiled with them, from the sources that
# Debian's package googletest installs: the built one is for this machine's compiler and library. Without
# a path for the sources it is used.
set(GTEST_SOURCES "/usr/src/googletest" CACHE PATH "Sources of GoogleTest")
set(QELPRFARC_ENGINE_TESTS "" CACHE STRING "Regular expression of the test files (default: all)")
if(NOT GTEST_SOURCES)
  find_package(GTest REQUIRED)
elseif(NOT EXISTS "${GTEST_SOURCES}/CMakeLists.txt")
  message(STATUS "No sources of GoogleTest: qelprfarc_engine_tests is not built")
  return()
else()
  add_subdirectory("${GTEST_SOURCES}" googletest EXCLUDE_FROM_ALL)
endif()

include(TestSettings)
file(GLOB engine_tests CONFIGURE_DEPENDS
  "${CMAKE_CURRENT_SOURCE_DIR}/tests/engine/*_test.cc"
  "${CMAKE_CURRENT_SOURCE_DIR}/tests/revisions/*_test.cc")
if(QELPRFARC_ENGINE_TESTS)
  list(FILTER engine_tests INCLUDE REGEX "${QELPRFARC_ENGINE_TESTS}")
endif()
file(GLOB engine_test_support CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/tests/support/*.cc")
list(APPEND engine_tests ${engine_test_support})
# What looks at files with psltool's eyes.
list(FILTER engine_tests EXCLUDE REGEX "configuration_in_force_test")
add_executable(qelprfarc_engine_tests EXCLUDE_FROM_ALL ${engine_tests})
target_link_libraries(qelprfarc_engine_tests PRIVATE qelprfarc_prefix_test qelprfarc_named
  qelprfarc_core GTest::gmock GTest::gmock_main)
qelprfarc_precompile(qelprfarc_engine_tests <gmock/gmock.h> <gtest/gtest.h>)
qelprfarc_test_settings(qelprfarc_engine_tests -O1 -g1)
target_compile_definitions(qelprfarc_engine_tests PRIVATE "FAKETIME_PATH=\"\"" "DISTURB_PATH=\"\"")
