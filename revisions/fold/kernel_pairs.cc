// The vector kernels for processors with vectors of two doubles: all x86-64 and 64-bit ARM ones.
#define QELPRF_WIDTH 2
#include "revisions/fold/kernel_heads.h"
#include "revisions/fold/kernel_merge.h"
#include "revisions/fold/kernel_put.h"

const FoldKernels kFoldKernelsPairs = {"pairs", FoldHeadsOf, Fold<true>, Fold<false>,
                                       Merge,   Put<true>,   Put<false>};
