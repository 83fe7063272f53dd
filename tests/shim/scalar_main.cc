// Qelprfarc_scalar: the archiver without vector kernels, as on a processor that has none. Only so
// can a test count the instructions of the scalar path.
#include <new>

#include "archiver/Qelprfarc.h"
#include "engine/pmoncommon.h"
#include "platform/process.h"
#include "revisions/fold/kernel.h"

int main(int argc, char** argv) {
  SetKernels(nullptr);
  OpenStandardDescriptors();
  std::set_new_handler(OutOfMemory);
  return RunArchiver(argc, argv);
}
