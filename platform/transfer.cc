// Reading that does not take less for all: see the header.
#include "platform/transfer.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

bool ReadBeginning(int fd, int64_t size, std::span<uint8_t> bytes) {
  const auto wanted = std::min(bytes.size(), static_cast<size_t>(size));
  for (size_t done = 0; done < wanted;) {
    const ssize_t got = ::pread(fd, bytes.data() + done, wanted - done, static_cast<int64_t>(done));
    if (got == -1 && errno == EINTR) continue;
    if (got == 0) errno = 0;
    if (got <= 0) return false;
    done += static_cast<size_t>(got);
  }
  return true;
}
