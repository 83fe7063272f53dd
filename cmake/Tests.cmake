# The test program qelprfarc_tests, and the other tests of ctest.
#
# How ctest treats a suite follows from the beginning of its name:
#   Long...    labelled "long", left out of the sanitizer run of scripts/test;
#   Prefix...  uses files below the test prefix, so one at a time;
#   LongPrefix...  both.
find_package(GTest REQUIRED)
include(TestSettings)

file(GLOB test_sources CONFIGURE_DEPENDS
  "${CMAKE_CURRENT_SOURCE_DIR}/tests/*/*_test.cc"
  "${CMAKE_CURRENT_SOURCE_DIR}/tests/*/*/*_test.cc")
list(FILTER test_sources EXCLUDE REGEX "/tests/figures/")
if(NOT test_sources)
  message(STATUS "No tests found")
  return()
endif()
# What tests calculate with: models, second calculations, readers, the fuzz targets without the programs
# around them.
file(GLOB calculating_sources CONFIGURE_DEPENDS
  "${CMAKE_CURRENT_SOURCE_DIR}/tests/pmonb/*.cc"
  "${CMAKE_CURRENT_SOURCE_DIR}/tests/fuzz/*.cc"
  "${CMAKE_CURRENT_SOURCE_DIR}/tests/support/*.cc"
  "${CMAKE_CURRENT_SOURCE_DIR}/tests/support/*/*.cc"
  "${CMAKE_CURRENT_SOURCE_DIR}/tests/model/*.cc")
list(FILTER calculating_sources EXCLUDE REGEX "(_test|_main|write_seeds)\\.cc$")
file(GLOB figures_sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/tests/figures/*.cc")
list(APPEND calculating_sources ${figures_sources})

# Tests are many and run once: they are compiled quickly, what they calculate with a little better. The
# templates that both need are linked from the better objects, which come first. For a debugger there is
# "scripts/build debug".
set(quickly -O1 -g1)
set(better -O1 -g1)
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  set(quickly -O0 -g0)
  set(better -O1 -g0)
endif()
set(tested_libraries qelprfarc_named qelprfarc_core GTest::gmock GTest::gmock_main)
if(TARGET psltool_core)
  list(PREPEND tested_libraries qelprfarc_pages_core psltool_core)
endif()
add_library(qelprfarc_test_calculating OBJECT ${calculating_sources})
target_link_libraries(qelprfarc_test_calculating PRIVATE ${tested_libraries})
qelprfarc_test_settings(qelprfarc_test_calculating ${better})
qelprfarc_unite(qelprfarc_test_calculating 8 "[.]cc$")
add_executable(qelprfarc_tests $<TARGET_OBJECTS:qelprfarc_test_calculating> ${test_sources})
target_link_libraries(qelprfarc_tests PRIVATE qelprfarc_prefix_test ${tested_libraries})
qelprfarc_test_settings(qelprfarc_tests ${quickly})
qelprfarc_unite(qelprfarc_tests 8 "_test[.]cc$")
qelprfarc_precompile(qelprfarc_tests
  <gmock/gmock.h> <gtest/gtest.h> <algorithm> <filesystem> <fstream> <map> <string> <vector>)
# Preloaded by tests: the system's libfaketime (tests that need it are skipped without it) and a
# library that disturbs a program between its system calls.
file(GLOB faketime_library "/usr/lib/*/faketime/libfaketime.so.1" "/usr/lib/faketime/libfaketime.so.1")
add_library(qelprfarc_disturb MODULE tests/shim/disturb.cc)
target_link_libraries(qelprfarc_disturb PRIVATE qelprfarc_flags)
# Preloaded by scripts/torture: there every call can fail.
add_library(qelprfarc_torture MODULE tests/shim/torture.cc)
target_link_libraries(qelprfarc_torture PRIVATE qelprfarc_flags)
add_dependencies(qelprfarc_tests qelprfarc_disturb qelprfarc_torture)
foreach(target IN ITEMS qelprfarc_test_calculating qelprfarc_tests)
  target_compile_definitions(${target} PRIVATE
    "FAKETIME_PATH=\"${faketime_library}\"" "DISTURB_PATH=\"$<TARGET_FILE:qelprfarc_disturb>\"")
endforeach()

# Each suite becomes a ctest test of its own when ctest starts (TestSuites.cmake), so "ctest -j" spreads
# them. One test alone: qelprfarc_tests --gtest_filter=Suite.Test.
set(suites_of_tests "${CMAKE_BINARY_DIR}/test_suites.cmake")
file(GENERATE OUTPUT "${suites_of_tests}" CONTENT
  "set(program \"$<TARGET_FILE:qelprfarc_tests>\")
set(directory \"${CMAKE_BINARY_DIR}\")
include(\"${CMAKE_CURRENT_SOURCE_DIR}/cmake/TestSuites.cmake\")
")
set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${suites_of_tests}")

# scripts/mutate and scripts/coverage, over small examples.
find_package(Python3 COMPONENTS Interpreter QUIET)
if(Python3_FOUND)
  add_test(NAME Strength.Scripts
    COMMAND "${Python3_EXECUTABLE}" -B "${CMAKE_CURRENT_SOURCE_DIR}/tests/strength/strength_test.py")
  set_tests_properties(Strength.Scripts PROPERTIES TIMEOUT 300 ENVIRONMENT "CXX=${CMAKE_CXX_COMPILER}")
endif()

# A slice of scripts/torture.
if(Python3_FOUND AND TARGET Qelprfarc AND TARGET psltool AND NOT QELPRFARC_SANITIZE
    AND CMAKE_BUILD_TYPE STREQUAL "Release")
  foreach(scenario IN ITEMS night manual pruning psltool)
    add_test(NAME TortureSlice.${scenario}
      COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/scripts/torture" --build "${CMAKE_BINARY_DIR}" --state none
        --most 20 --pairs 8 --states 200 --scenario ${scenario})
  endforeach()
  add_test(NAME TortureSlice.hostile
    COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/scripts/torture" --build "${CMAKE_BINARY_DIR}" --state none
      --hostile 200 hostile)
  set_tests_properties(TortureSlice.night TortureSlice.manual TortureSlice.pruning
    TortureSlice.psltool TortureSlice.hostile PROPERTIES LABELS "long" TIMEOUT 300 COST 40)
endif()

# Instructions per entry, counted by callgrind in the built archiver: not under the sanitizers and not
# without optimisation, where the count would say nothing.
if(Python3_FOUND AND TARGET Qelprfarc AND TARGET psltool AND NOT QELPRFARC_SANITIZE
    AND CMAKE_BUILD_TYPE STREQUAL "Release")
  # The archiver with one path of folding each: for these tests and scripts/bench.
  foreach(path IN ITEMS scalar pairs avx2 avx512)
    add_executable(Qelprfarc_${path} tests/shim/path_main.cc)
    target_compile_definitions(Qelprfarc_${path} PRIVATE "QELPRFARC_PATH=\"${path}\"")
    target_link_libraries(Qelprfarc_${path} PRIVATE qelprfarc_prefix_test qelprfarc_core)
    qelprfarc_harden(Qelprfarc_${path})
  endforeach()
  # All paths over all shapes, byte for byte.
  add_test(NAME PathIdentity
    COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tests/path_identity.py"
      $<TARGET_FILE:psltool> $<TARGET_FILE:Qelprfarc_scalar> $<TARGET_FILE:Qelprfarc_pairs>
      $<TARGET_FILE:Qelprfarc_avx2> $<TARGET_FILE:Qelprfarc_avx512>)
  set_tests_properties(PathIdentity PROPERTIES LABELS long TIMEOUT 300)
endif()
# Ceilings are those of g++'s code, and the debug information of clang is not what callgrind 3.19 reads.
if(TARGET Qelprfarc_scalar AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_test(NAME InstructionCeiling
    COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tests/instruction_ceiling.py"
      $<TARGET_FILE:Qelprfarc> $<TARGET_FILE:Qelprfarc_pairs> $<TARGET_FILE:Qelprfarc_scalar>
      $<TARGET_FILE:psltool>)
  set_tests_properties(InstructionCeiling PROPERTIES
    LABELS "long;instructions" TIMEOUT 300 SKIP_RETURN_CODE 77)
  add_test(NAME SelectionGrowth
    COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tests/selection_growth.py"
      $<TARGET_FILE:Qelprfarc_test> $<TARGET_FILE:psltool>)
  set_tests_properties(SelectionGrowth PROPERTIES
    LABELS "long;instructions" TIMEOUT 300 SKIP_RETURN_CODE 77 RESOURCE_LOCK test_prefix)
endif()

# Real schedulers and databases: long, and only on request. Skipped with a word otherwise.
if(Python3_FOUND AND TARGET Qelprfarc AND TARGET psltool)
  foreach(engine IN ITEMS slurm ssh prometheus postgres)
    add_test(NAME "LongTry.${engine}"
      COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/scripts/try-${engine}" --test)
    set_tests_properties("LongTry.${engine}" PROPERTIES
      LABELS "long;engines" TIMEOUT 1200 SKIP_RETURN_CODE 77
      ENVIRONMENT "QELPRFARC_PROGRAMS=${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
  endforeach()
endif()

# Report pages in a real browser; skipped where there is none. Under the sanitizers the programs are
# asked the same by the suites of psltool.
if(Python3_FOUND AND TARGET Qelprfarc AND TARGET psltool AND NOT QELPRFARC_SANITIZE)
  foreach(name charts_are_dumps top_of_a_span many_intervals mix_of_levels told_in_steps
      gaps_and_broken_files several_arrays compare_page hands hostile_names old_browsers days_of_23_and_25_hours)
    add_test(NAME ReportPage.${name}
      COMMAND "${Python3_EXECUTABLE}" -B
        "${CMAKE_CURRENT_SOURCE_DIR}/tests/tools/page/report_page.py"
        $<TARGET_FILE:psltool> $<TARGET_FILE:Qelprfarc> ${name})
    set_tests_properties(ReportPage.${name} PROPERTIES
      LABELS "browser" TIMEOUT 300 SKIP_RETURN_CODE 77 COST 35)
  endforeach()
endif()

# What sources name they include; a unity build compiles them without it.
if(Python3_FOUND)
  add_test(NAME Includes
    COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tests/includes.py")
endif()

# Which kernels are built, with compilers that know less.
if(Python3_FOUND AND NOT QELPRFARC_SANITIZE)
  add_test(NAME KernelChoice
    COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tests/kernel_choice.py" "${CMAKE_CXX_COMPILER}")
  set_tests_properties(KernelChoice PROPERTIES TIMEOUT 300)
endif()

# The archiver by clang, and its archives against those of the usual build: some seconds. Skipped without
# clang. The tests by other compilers: LongElsewhere.
if(TARGET Qelprfarc AND TARGET psltool AND NOT QELPRFARC_SANITIZE)
  add_test(NAME LongClang COMMAND "${CMAKE_CURRENT_SOURCE_DIR}/scripts/build-elsewhere" --quick
    --programs "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}" clang)
  set_tests_properties(LongClang PROPERTIES LABELS long TIMEOUT 900 SKIP_RETURN_CODE 77 COST 30
    ENVIRONMENT "JOBS=1")
endif()

# The Debian package through its life in a bare root, and the tests by other compilers, with other
# libraries and on another processor.
set(asked_for "${CMAKE_CURRENT_SOURCE_DIR}/tests/asked_for.sh")
add_test(NAME LongPackage COMMAND "${asked_for}" QELPRFARC_TRY_PACKAGE
  "${CMAKE_CURRENT_SOURCE_DIR}/scripts/try-package")
add_test(NAME LongElsewhere COMMAND "${asked_for}" QELPRFARC_BUILD_ELSEWHERE
  "${CMAKE_CURRENT_SOURCE_DIR}/scripts/build-elsewhere" --programs "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
set_tests_properties(LongPackage LongElsewhere PROPERTIES LABELS long TIMEOUT 14400 SKIP_RETURN_CODE 77)
