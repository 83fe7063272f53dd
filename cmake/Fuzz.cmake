# The fuzzers, built with clang's libFuzzer when asked for: -DQELPRFARC_FUZZ=ON
# -DCMAKE_CXX_COMPILER=clang++. "scripts/fuzz" does it and runs them. The targets themselves are part
# of the ordinary tests, too.
option(QELPRFARC_FUZZ "Build the fuzzers (clang)" OFF)
if(NOT QELPRFARC_FUZZ)
  return()
endif()
set(fuzz_flags -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -O1
  -gline-tables-only)
target_compile_options(qelprfarc_flags INTERFACE ${fuzz_flags})
target_link_options(qelprfarc_flags INTERFACE -fsanitize=address,undefined)
# The option parser's templates take minutes to instrument, and no target calls it.
set_source_files_properties(tools/commands/command_line.cc PROPERTIES COMPILE_OPTIONS -O0)

file(GLOB fuzz_support CONFIGURE_DEPENDS
  "${CMAKE_CURRENT_SOURCE_DIR}/tests/fuzz/*.cc"
  "${CMAKE_CURRENT_SOURCE_DIR}/tests/model/*.cc")
list(FILTER fuzz_support EXCLUDE REGEX "(_test|_main|write_seeds)\\.cc$")
list(FILTER fuzz_support EXCLUDE REGEX "/program_run\\.cc$")
# A fuzzer takes from the library what its target needs, so that it looks at no other code.
add_library(qelprfarc_fuzz STATIC ${fuzz_support}
  tests/pmonb/pml_model.cc tests/support/archive_target.cc tests/support/broken_files.cc
  tests/support/damage.cc tests/support/sample_records.cc
  tests/support/record_builder.cc tests/support/revision_facts.cc
  tests/support/run_state.cc tests/support/tools/psltool_target.cc)
target_link_libraries(qelprfarc_fuzz PUBLIC psltool_core)

add_executable(write_seeds tests/fuzz/write_seeds.cc)
target_link_libraries(write_seeds PRIVATE qelprfarc_prefix_test qelprfarc_fuzz)
# Damaged files by the million, for scripts/torture.
add_executable(hostile_files tests/fuzz/hostile_main.cc)
target_link_libraries(hostile_files PRIVATE qelprfarc_prefix_test qelprfarc_fuzz)
add_custom_target(fuzzers)
# qelprfarc_fuzzer(<name> <function>)
function(qelprfarc_fuzzer name function)
  add_executable(fuzz_${name} tests/fuzz/fuzzer_main.cc)
  target_compile_definitions(fuzz_${name} PRIVATE FUZZ_TARGET=${function})
  target_link_libraries(fuzz_${name} PRIVATE qelprfarc_prefix_test qelprfarc_fuzz)
  target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
  add_dependencies(fuzzers fuzz_${name})
endfunction()
qelprfarc_fuzzer(archive Archive)
qelprfarc_fuzzer(batch SideBySide)
qelprfarc_fuzzer(prove Prove)
qelprfarc_fuzzer(read Read)
qelprfarc_fuzzer(salvage Salvaged)
qelprfarc_fuzzer(audit Audit)
qelprfarc_fuzzer(segment Segment)
qelprfarc_fuzzer(names Names)
qelprfarc_fuzzer(times Times)
qelprfarc_fuzzer(pml Pml)
qelprfarc_fuzzer(sharetxt ShareTxt)
qelprfarc_fuzzer(sums Sums)
qelprfarc_fuzzer(logs Logs)
qelprfarc_fuzzer(labels LabelFile)
qelprfarc_fuzzer(rules Rules)
