// Fuzzer of psltool's readers: the input is one log or archive. Whatever the bytes are, `check`,
// `dump`, `export` and `salvage` must end in an orderly way and agree with each other.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "tests/support/tools/psltool_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const PsltoolTargetResult result = RunPsltool({data, size});
  if (result.contradiction.empty()) return 0;
  std::fprintf(stderr, "%s\n", result.contradiction.c_str());
  std::abort();
}
