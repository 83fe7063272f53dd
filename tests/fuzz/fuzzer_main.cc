// One fuzzer: a target under libFuzzer. The build says which one: FUZZ_TARGET.
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "tests/fuzz/surroundings.h"
#include "tests/fuzz/target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string wrong = fuzz::FUZZ_TARGET({data, size});
  if (wrong.empty()) return 0;
  std::fprintf(stderr, "CONTRADICTION: %s\n", wrong.c_str());
  std::abort();
}
