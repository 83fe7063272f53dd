// The vector kernels for processors with AVX2; cmake/Kernels.cmake gives the options.
#define QELPRF_WIDTH 4
#include "revisions/fold/kernel_heads.h"
#include "revisions/fold/kernel_merge.h"
#include "revisions/fold/kernel_put.h"

const FoldKernels kFoldKernelsAvx2 = {"avx2", FoldHeadsOf, Fold<true>, Fold<false>,
                                      Merge,  Put<true>,   Put<false>};
