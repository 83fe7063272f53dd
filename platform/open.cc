// Opening of files: see the header.
#include "platform/open.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

int OpenToRead(const char* path) {
  constexpr int kFlags = O_RDONLY | O_NOCTTY | O_CLOEXEC;
  const int fd = ::open(path, kFlags | O_NONBLOCK);
  if (fd >= 0 || errno != EWOULDBLOCK) return fd;
  struct stat status = {};
  if (::stat(path, &status) == 0 && S_ISREG(status.st_mode)) return ::open(path, kFlags);
  errno = EWOULDBLOCK;
  return -1;
}
