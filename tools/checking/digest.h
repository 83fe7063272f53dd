// SHA-256 digests of files.
#pragma once

#include <cstdint>
#include <string>

#include "tools/output/progress.h"

namespace psltool {

enum class DigestEnd : uint8_t {
  kDone,
  kMissing,     // no such file
  kChanging,    // it was written to while it was read
  kUnreadable,  // `why` tells
};

struct Digest {
  DigestEnd end = DigestEnd::kUnreadable;
  std::string hex;  // 64 small digits when done
  std::string why;
  uint64_t size = 0;
};

// Memory does not depend on the file's size.
Digest DigestOfFile(const std::string& path, Progress& progress);

}  // namespace psltool
