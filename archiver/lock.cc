// The archiver's lock: see the header. The lock belongs to the process, so it also ends with it;
// the file itself stays.
#include "archiver/lock.h"

#include <fcntl.h>
#include <sys/types.h>
#include <unistd.h>

#include <cerrno>

#include "report/messages.h"

char lockfile_path[300];
int32_t lockfile_fd = -1;

namespace {

constexpr uint32_t kDetChkOpen = 0x030C0001;
constexpr uint32_t kDetChkFcntl = 0x030C0002;
constexpr uint32_t kDetLock = 0x030E0001;
constexpr uint32_t kDetUnlock = 0x030F0001;

struct flock test_lock;
struct flock write_lock;
struct flock unlock;

// The whole file, for this process.
struct flock Describe(short type) {
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0;
  lock.l_len = 0;
  lock.l_pid = getpid();
  return lock;
}

void CloseLockFile() {
  close(lockfile_fd);
  lockfile_fd = -1;
}

}  // namespace

int Arc_chksgm(const char* path) {
  lockfile_fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
  if (lockfile_fd == -1) {
    LogMessage(113, nullptr, "open", errno, kDetChkOpen);
    return -1;
  }
  test_lock = Describe(F_RDLCK);
  if (fcntl(lockfile_fd, F_GETLK, &test_lock) == -1) {
    LogMessage(113, nullptr, "fcntl", errno, kDetChkFcntl);
    CloseLockFile();
    return -1;
  }
  if (test_lock.l_type != F_UNLCK) {
    CloseLockFile();
    return -1;
  }
  return 0;
}

pid_t LockHolder(const char* path) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC);
  if (fd == -1) return errno == ENOENT ? 0 : -1;
  struct flock lock = Describe(F_WRLCK);
  const bool asked = fcntl(fd, F_GETLK, &lock) == 0;
  const int error = errno;
  close(fd);
  errno = error;
  // Not reached: the lock of a file that was opened just now can be asked for.
  if (!asked) return -1;
  return lock.l_type == F_UNLCK ? 0 : lock.l_pid;
}

int Arc_Lock() {
  write_lock = Describe(F_WRLCK);
  if (fcntl(lockfile_fd, F_SETLK, &write_lock) == -1) {
    LogMessage(113, nullptr, "fcntl", errno, kDetLock);
    LogTaskFailed();
    CloseLockFile();
    return -1;
  }
  return 0;
}

void Arc_Unlock() {
  if (lockfile_fd == -1) return;
  unlock = Describe(F_UNLCK);
  if (fcntl(lockfile_fd, F_SETLK, &unlock) == -1) {
    LogMessage(113, nullptr, "fcntl", errno, kDetUnlock);
    LogTaskFailed();
  }
  CloseLockFile();
}

void DropLock() {
  if (lockfile_fd == -1) return;
  unlock = Describe(F_UNLCK);
  fcntl(lockfile_fd, F_SETLK, &unlock);
  CloseLockFile();
}
