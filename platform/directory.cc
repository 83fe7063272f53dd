// Directories: see the header.
#include "platform/directory.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

const char* SyncDirectory(const char* path) {
  const int fd = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return "open";
  const bool synced = ::fsync(fd) == 0;
  const int error = errno;
  ::close(fd);
  errno = error;
  return synced ? nullptr : "fsync";
}
