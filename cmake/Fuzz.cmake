# The fuzzers, built with clang's libFuzzer when asked for: -DQELPRFARC_FUZZ=ON
# -DCMAKE_CXX_COMPILER=clang++. Run without arguments, a fuzzer looks for inputs that crash, hang or
# take too much memory; with file names it runs those.
option(QELPRFARC_FUZZ "Build the fuzzers (clang)" OFF)
if(NOT QELPRFARC_FUZZ)
  return()
endif()
set(fuzz_flags -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -O1 -g)
target_compile_options(qelprfarc_flags INTERFACE ${fuzz_flags})
target_link_options(qelprfarc_flags INTERFACE -fsanitize=address,undefined)
file(GLOB fuzz_sources CONFIGURE_DEPENDS "${CMAKE_CURRENT_SOURCE_DIR}/tests/fuzz/fuzz_*.cc")
foreach(source IN LISTS fuzz_sources)
  get_filename_component(name "${source}" NAME_WE)
  add_executable(${name} "${source}"
    tests/support/archive_target.cc tests/support/tools/psltool_target.cc
    tests/support/run_state.cc)
  target_link_libraries(${name} PRIVATE qelprfarc_prefix_test qelprfarc_core)
  if(TARGET psltool_core)
    target_link_libraries(${name} PRIVATE psltool_core)
  endif()
  target_link_options(${name} PRIVATE -fsanitize=fuzzer)
endforeach()
