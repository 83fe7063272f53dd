// Reading that does not take less for all: see the header.
#include "platform/transfer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

Transfer ReadFrom(int fd, int64_t at, std::span<uint8_t> bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const size_t piece = std::min(bytes.size() - done, kLargestTransfer);
    const ssize_t got = ::pread(fd, bytes.data() + done, piece, at + static_cast<int64_t>(done));
    if (got == -1 && errno == EINTR) continue;
    if (got <= 0) return {done, got == 0 ? 0 : errno};
    done += static_cast<size_t>(got);
  }
  return {done, 0};
}

bool ReadBeginning(int fd, int64_t size, std::span<uint8_t> bytes) {
  const auto wanted = bytes.first(std::min(bytes.size(), static_cast<size_t>(size)));
  const Transfer read = ReadFrom(fd, 0, wanted);
  errno = read.error;
  return read.size == wanted.size();
}
