# The benchmark program qelprfarc_bench; built when bench/ has sources and the library is installed.
qelprfarc_sources(bench_sources bench)
if(NOT bench_sources)
  return()
endif()
find_package(benchmark QUIET)
if(NOT benchmark_FOUND)
  message(STATUS "Google Benchmark not found: qelprfarc_bench is not built")
  return()
endif()
add_executable(qelprfarc_bench ${bench_sources})
target_link_libraries(qelprfarc_bench PRIVATE qelprfarc_prefix_test qelprfarc_core
  benchmark::benchmark benchmark::benchmark_main)
