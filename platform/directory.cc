// Directories: see the header.
#include "platform/directory.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

const char* SyncDirectory(const char* path) {
  const int fd = ::open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return "open";
  const bool synced = ::fsync(fd) == 0;
  const int error = errno;
  ::close(fd);
  errno = error;
  return synced ? nullptr : "fsync";
}

int RenameToFreeName(const char* from, const char* to) {
#ifdef RENAME_NOREPLACE
  return ::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE);
#else
  // The kernel has the call; musl, up to 1.2.3 at least, no function for it.
  constexpr unsigned kNoReplace = 1;
  return static_cast<int>(::syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, kNoReplace));
#endif
}
