// Qelprfarc_scalar, Qelprfarc_pairs, Qelprfarc_avx2 and Qelprfarc_avx512: the archiver with one
// path of folding (QELPRFARC_PATH), whatever the processor could do besides. The product chooses by
// the processor alone and has no switch; only so can tests and scripts/bench take each path. Status
// 77: this processor has none of these kernels.
#include <cstdio>
#include <cstring>
#include <new>

#include "archiver/Qelprfarc.h"
#include "engine/pmoncommon.h"
#include "platform/process.h"
#include "revisions/fold/kernel.h"

namespace {

constexpr int kNoSuchKernels = 77;

// The kernels of that name; null when the processor has none.
const FoldKernels* KernelsCalled(const char* name) {
  for (const FoldKernels* const* kernel = AvailableKernels(); *kernel != nullptr; ++kernel) {
    if (std::strcmp((*kernel)->name, name) == 0) return *kernel;
  }
  return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
  const FoldKernels* const kernels = KernelsCalled(QELPRFARC_PATH);
  if (kernels == nullptr && std::strcmp(QELPRFARC_PATH, "scalar") != 0) {
    std::fprintf(stderr, "%s: this processor has no such kernels\n", QELPRFARC_PATH);
    return kNoSuchKernels;
  }
  SetKernels(kernels);
  OpenStandardDescriptors();
  std::set_new_handler(OutOfMemory);
  return RunArchiver(argc, argv);
}
