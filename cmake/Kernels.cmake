# Options of the vector kernels: each is compiled for its own processors and chosen at start. The
# one for pairs of doubles needs no option and serves the other processors that store the lowest byte
# of a word first; the rest has the scalar path. Which of them can be built is asked of the compiler:
# the name of a processor says nothing of what a compiler knows.
include(CheckCXXSourceCompiles)

set(kernel_avx2 "${CMAKE_CURRENT_SOURCE_DIR}/revisions/fold/kernel_avx2.cc")
set(kernel_avx512 "${CMAKE_CURRENT_SOURCE_DIR}/revisions/fold/kernel_avx512.cc")
set(kernel_pairs "${CMAKE_CURRENT_SOURCE_DIR}/revisions/fold/kernel_pairs.cc")
set(kernels_there "")

# qelprfarc_kernel(<variable> <macros that must be> <processor's features> <option>...): whether the
# compiler, given the options, has the features, vectors with shuffles, and can ask the processor.
function(qelprfarc_kernel variable macros features)
  set(body "#if __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__\n#error\n#endif\n")
  foreach(macro IN LISTS macros)
    string(APPEND body "#ifndef ${macro}\n#error\n#endif\n")
  endforeach()
  set(asked "true")
  foreach(feature IN LISTS features)
    string(APPEND asked " && __builtin_cpu_supports(\"${feature}\")")
  endforeach()
  string(APPEND body "typedef double Pair __attribute__((vector_size(16)))\;\n"
    "int main(int n, char**) {\n"
    "  const Pair a = {1.0, static_cast<double>(n)}\;\n"
    "  const Pair b = __builtin_shufflevector(a, a, 1, 0)\;\n"
    "  return ${asked} && b[0] > 1.0 ? 0 : 1\;\n}\n")
  string(REPLACE "\\;" ";" body "${body}")
  list(JOIN ARGN " " CMAKE_REQUIRED_FLAGS)
  set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
  check_cxx_source_compiles("${body}" ${variable})
endfunction()

set(options_avx2 -mavx2)
set(options_avx512 -mavx512f -mavx512dq -mavx512vl -mavx512bw -mprefer-vector-width=512)
qelprfarc_kernel(QELPRF_AVX2_KERNELS "__AVX2__" "avx2" ${options_avx2})
qelprfarc_kernel(QELPRF_AVX512_KERNELS "__AVX512F__;__AVX512DQ__;__AVX512VL__;__AVX512BW__"
  "avx512f;avx512dq;avx512vl;avx512bw" ${options_avx512})
qelprfarc_kernel(QELPRF_PAIR_KERNELS "" "")

foreach(kernel IN ITEMS avx2 avx512 pairs)
  string(TOUPPER "${kernel}" name)
  string(REPLACE "PAIRS" "PAIR" name "${name}")
  if(QELPRF_${name}_KERNELS)
    list(APPEND kernels_there QELPRF_${name}_KERNELS)
    set_source_files_properties("${kernel_${kernel}}" PROPERTIES
      COMPILE_OPTIONS "${options_${kernel}}")
  else()
    list(REMOVE_ITEM core_sources "${kernel_${kernel}}")
  endif()
endforeach()
set_source_files_properties("${CMAKE_CURRENT_SOURCE_DIR}/revisions/fold/kernel.cc"
  PROPERTIES COMPILE_DEFINITIONS "${kernels_there}")
# Kernels include no inline functions (kernel_impl.h), so they do without the precompiled ones.
set_source_files_properties("${kernel_avx2}" "${kernel_avx512}" "${kernel_pairs}"
  PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
# The loops over entries gain a tenth by what -O3 adds; the rest gains nothing but a longer build. Nor do
# instrumented programs, over which g++ 12 falls (-fipa-cp of fold.cc).
if(NOT QELPRFARC_SANITIZE)
  set_property(SOURCE "${kernel_avx2}" "${kernel_avx512}" "${kernel_pairs}"
    "${CMAKE_CURRENT_SOURCE_DIR}/revisions/fold/fold.cc"
    APPEND PROPERTY COMPILE_OPTIONS $<$<CONFIG:Release>:-O3>)
endif()
