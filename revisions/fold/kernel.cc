// Choice of the vector kernels: once, at start, by what the processor can do.
#include "revisions/fold/kernel.h"

#ifdef QELPRF_PAIR_KERNELS
extern const FoldKernels kFoldKernelsPairs;
#endif
#ifdef QELPRF_AVX2_KERNELS
extern const FoldKernels kFoldKernelsAvx2;
#endif
#ifdef QELPRF_AVX512_KERNELS
extern const FoldKernels kFoldKernelsAvx512;
#endif

namespace {

struct Available {
  const FoldKernels* list[4] = {};

  Available() {
    size_t n = 0;
#ifdef QELPRF_AVX512_KERNELS
    // Not reached: one machine shows one sort of processors.
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512dq") &&
        __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512bw")) {
      list[n++] = &kFoldKernelsAvx512;
    }
#endif
#ifdef QELPRF_AVX2_KERNELS
    // Not reached: on other processors, as above.
    if (__builtin_cpu_supports("avx2")) list[n++] = &kFoldKernelsAvx2;
#endif
#ifdef QELPRF_PAIR_KERNELS
    list[n++] = &kFoldKernelsPairs;
#endif
    list[n] = nullptr;
  }
};

}  // namespace

const FoldKernels* const* AvailableKernels() {
  static const Available available;
  return available.list;
}

const FoldKernels* fold_kernels = AvailableKernels()[0];

void SetKernels(const FoldKernels* kernels) { fold_kernels = kernels; }
