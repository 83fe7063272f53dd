# Read by ctest when it starts: asks qelprfarc_tests for its suites and makes each a test of its own. A
# suite's tests share a process, as the start of one, with all that it registers, takes longer than most
# tests. Set in front of this file: program, directory.
if(NOT EXISTS "${program}")
  add_test(qelprfarc_tests_NOT_BUILT "${program}")
  return()
endif()
execute_process(COMMAND "${program}" --gtest_list_tests WORKING_DIRECTORY "${directory}"
  OUTPUT_VARIABLE listed RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${program} does not list its tests: ${status}\n${listed}")
endif()
# Suites start their lines and end in "."; behind it may stand what their parameter is.
string(REGEX MATCHALL "(^|\n)[A-Za-z0-9_/]+[.]" suites "${listed}")
# Costs are for the order of the first run: what takes long starts first.
foreach(suite IN LISTS suites)
  string(REGEX REPLACE "[\n.]" "" suite "${suite}")
  add_test("${suite}" "${program}" "--gtest_filter=${suite}.*")
  set(properties WORKING_DIRECTORY "${directory}" TIMEOUT 600)
  if(suite MATCHES "(^|/)Long")
    list(APPEND properties LABELS long COST 20)
  endif()
  if(suite MATCHES "(^|/)(Long)?Prefix")
    list(APPEND properties RESOURCE_LOCK test_prefix COST 30)
  endif()
  if(suite MATCHES "Figures")
    list(APPEND properties COST 25)
  endif()
  set_tests_properties("${suite}" PROPERTIES ${properties})
endforeach()
