# What the two test programs have in common, whose targets they are: qelprfarc_tests (Tests.cmake) and
# qelprfarc_engine_tests (EngineTests.cmake); and Qelprfarc_test, the archiver with a prefix inside the
# build tree, for tests that look at the trace file and the operation log of a whole run.
file(MAKE_DIRECTORY "${test_prefix}")
if(TARGET Qelprfarc)
  add_executable(Qelprfarc_test archiver/main.cc)
  target_link_libraries(Qelprfarc_test PRIVATE qelprfarc_prefix_test qelprfarc_core)
  qelprfarc_harden(Qelprfarc_test)
endif()

# qelprfarc_test_settings(<target> <option>...): options to compile the target's sources with. What tests
# test is compiled as in the product.
function(qelprfarc_test_settings target)
  target_compile_options(${target} PRIVATE ${ARGN})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # The same GCC bug as in Flags.cmake, by another name at -O1.
    target_compile_options(${target} PRIVATE -Wno-array-bounds -Wno-stringop-overflow)
  endif()
  target_compile_definitions(${target} PRIVATE
    "TEST_SOURCE_DIR=\"${CMAKE_CURRENT_SOURCE_DIR}/tests\""
    "CXX_COMPILER=\"${CMAKE_CXX_COMPILER}\""
    "QELPRFARC_TEST_PREFIX=\"${test_prefix}\"")
  # Programs that tests start; the tests name them by absolute path.
  foreach(pair IN ITEMS
      "QELPRFARC_PATH:Qelprfarc" "QELPRFARC_TEST_PATH:Qelprfarc_test" "PSLTOOL_PATH:psltool")
    string(REPLACE ":" ";" pair "${pair}")
    list(GET pair 0 definition)
    list(GET pair 1 program)
    if(TARGET ${program})
      target_compile_definitions(${target} PRIVATE "${definition}=\"$<TARGET_FILE:${program}>\"")
      add_dependencies(${target} ${program})
    else()
      target_compile_definitions(${target} PRIVATE "${definition}=\"\"")
    endif()
  endforeach()
endfunction()
