// Fuzzer of the archive run: the first byte chooses automatic or manual rules and the output level,
// the rest is one log or archive. Whatever the bytes are, the run must end in an orderly way.
#include <cstddef>
#include <cstdint>
#include <span>

#include "tests/support/archive_target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  ArchiveTargetOptions options;
  options.automatic = (data[0] & 1) != 0;
  options.level = (data[0] & 2) != 0 ? 'D' : 'H';
  const std::span<const uint8_t> bytes(data + 1, size - 1);
  const std::span<const uint8_t> inputs[] = {bytes, bytes};
  ArchiveBytes(std::span(inputs).first((data[0] & 4) != 0 ? 2 : 1), options);
  return 0;
}
