// The vector kernels for processors with AVX-512; cmake/Kernels.cmake gives the options.
#define QELPRF_WIDTH 8
#include "revisions/fold/kernel_heads.h"
#include "revisions/fold/kernel_merge.h"
#include "revisions/fold/kernel_put.h"

const FoldKernels kFoldKernelsAvx512 = {"avx512", FoldHeadsOf, Fold<true>, Fold<false>,
                                        Merge,    Put<true>,   Put<false>};
