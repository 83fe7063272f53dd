// Choice of the vector kernels: once, at start, by what the processor can do.
#include "revisions/fold/kernel.h"

const FoldKernels* const* AvailableKernels() {
  static const FoldKernels* list[4] = {};
  if (list[0] != nullptr) return list;
  [[maybe_unused]] const FoldKernels** next = list;
#ifdef QELPRF_AVX512_KERNELS
  // Not reached: one machine shows one sort of processors.
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
      __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw")) {
    *next++ = &kFoldKernelsAvx512;
  }
#endif
#ifdef QELPRF_AVX2_KERNELS
  // Not reached: on other processors, as above.
  if (__builtin_cpu_supports("avx2")) *next++ = &kFoldKernelsAvx2;
#endif
#ifdef QELPRF_PAIR_KERNELS
  *next = &kFoldKernelsPairs;
#endif
  return list;
}

const FoldKernels* fold_kernels = AvailableKernels()[0];

void SetKernels(const FoldKernels* kernels) { fold_kernels = kernels; }
