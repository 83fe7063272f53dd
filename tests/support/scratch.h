// One directory of the process for files that are written, read and forgotten thousands of times a
// second: names are written over instead of being made and removed with a directory of their own.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>

#include "tests/support/tempdir.h"

class Scratch {
 public:
  static const TempDir& Directory() {
    static const TempDir directory;
    return directory;
  }
  static std::string Path(const std::string& name) { return Directory().Path(name); }

  static std::string Write(const std::string& name, std::span<const uint8_t> bytes) {
    const std::string path = Path(name);
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0) std::abort();
    while (!bytes.empty()) {
      const ssize_t n = ::write(fd, bytes.data(), bytes.size());
      if (n <= 0) std::abort();
      bytes = bytes.subspan(static_cast<size_t>(n));
    }
    ::close(fd);
    return path;
  }

  static void Remove(const std::string& name) { ::unlink(Path(name).c_str()); }
};
