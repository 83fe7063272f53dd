# Options of the vector kernels: each is compiled for its own processors and chosen at start. The
# one for pairs of doubles needs no option and serves the other processors that store the lowest byte
# of a word first; the rest has the scalar path.
set(kernel_avx2 "${CMAKE_CURRENT_SOURCE_DIR}/revisions/fold/kernel_avx2.cc")
set(kernel_avx512 "${CMAKE_CURRENT_SOURCE_DIR}/revisions/fold/kernel_avx512.cc")
set(kernel_pairs "${CMAKE_CURRENT_SOURCE_DIR}/revisions/fold/kernel_pairs.cc")
set(kernels_there "")
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  set_source_files_properties("${kernel_avx2}" PROPERTIES COMPILE_OPTIONS "-mavx2")
  set_source_files_properties("${kernel_avx512}" PROPERTIES COMPILE_OPTIONS
    "-mavx512f;-mavx512dq;-mavx512vl;-mavx512bw;-mprefer-vector-width=512")
  list(APPEND kernels_there QELPRF_VECTOR_KERNELS)
else()
  list(REMOVE_ITEM core_sources "${kernel_avx2}" "${kernel_avx512}")
endif()
if(CMAKE_CXX_BYTE_ORDER STREQUAL "LITTLE_ENDIAN")
  list(APPEND kernels_there QELPRF_PAIR_KERNELS)
else()
  list(REMOVE_ITEM core_sources "${kernel_pairs}")
endif()
set_source_files_properties("${CMAKE_CURRENT_SOURCE_DIR}/revisions/fold/kernel.cc"
  PROPERTIES COMPILE_DEFINITIONS "${kernels_there}")
# Kernels include no inline functions (kernel_impl.h), so they do without the precompiled ones.
set_source_files_properties("${kernel_avx2}" "${kernel_avx512}" "${kernel_pairs}"
  PROPERTIES SKIP_PRECOMPILE_HEADERS ON)
