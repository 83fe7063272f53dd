// Preloaded into a program under test (LD_PRELOAD): disturbs it between its system calls, where
// nothing from outside could hit so exactly. The environment says how:
//   DISTURB_SIGNAL=s, DISTURB_AT=n   signal s is raised just before the n-th call of those below
//   DISTURB_COUNT=path               the number of calls is written to this file at the end
//   DISTURB_CALLS=fsync,rename       only these are counted (default: all)
//   DISTURB_READ_DELAY=us            every read takes that many microseconds longer
//   DISTURB_FAIL_OPEN=end:n          from the n-th opening of a path with this end on, EACCES
//   DISTURB_STEPS=path               a line for each file opened for reading ("r path") or writing
//                                    ("w path"), synced ("s path") and renamed ("n new path")
// The functions go straight to the kernel, so they also work while others are preloaded.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

long calls = 0;

long Number(const char* variable) {
  const char* text = getenv(variable);
  return text != nullptr ? atol(text) : 0;
}

bool Counts(const char* call) {
  static const char* const wanted = getenv("DISTURB_CALLS");
  return wanted == nullptr || strstr(wanted, call) != nullptr;
}

void Point(const char* call) {
  static const long at = Number("DISTURB_AT");
  static const long signal_number = Number("DISTURB_SIGNAL");
  if (!Counts(call)) return;
  const int error = errno;
  if (++calls == at) {
    syscall(SYS_kill, syscall(SYS_getpid), signal_number);
  }
  errno = error;
}

bool OpeningFails(const char* path) {
  static long openings = 0;
  const char* rule = getenv("DISTURB_FAIL_OPEN");
  const char* colon = rule != nullptr ? strrchr(rule, ':') : nullptr;
  if (colon == nullptr) return false;
  const size_t length = static_cast<size_t>(colon - rule);
  const size_t path_length = strlen(path);
  if (path_length < length || memcmp(path + path_length - length, rule, length) != 0) return false;
  return ++openings >= atol(colon + 1);
}

void Note(char step, const char* file) {
  static const char* const path = getenv("DISTURB_STEPS");
  if (path == nullptr) return;
  char line[1024];
  const int length = snprintf(line, sizeof line, "%c %s\n", step, file);
  const long fd = syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND, 0644);
  if (fd < 0 || length < 0) return;
  syscall(SYS_write, fd, line, static_cast<size_t>(length));
  syscall(SYS_close, fd);
}

__attribute__((destructor)) void WriteCount() {
  const char* path = getenv("DISTURB_COUNT");
  if (path == nullptr) return;
  FILE* file = fopen(path, "w");
  if (file == nullptr) return;
  fprintf(file, "%ld\n", calls);
  fclose(file);
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  Point("open");
  Note((flags & O_ACCMODE) == O_RDONLY ? 'r' : 'w', path);
  if (OpeningFails(path)) {
    errno = EACCES;
    return -1;
  }
  va_list arguments;
  va_start(arguments, flags);
  const int mode = (flags & O_CREAT) != 0 ? va_arg(arguments, int) : 0;
  va_end(arguments);
  return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

int close(int fd) {
  Point("close");
  return static_cast<int>(syscall(SYS_close, fd));
}

ssize_t read(int fd, void* buffer, size_t size) {
  Point("read");
  static const long delay = Number("DISTURB_READ_DELAY");
  if (delay > 0) usleep(static_cast<useconds_t>(delay));
  return syscall(SYS_read, fd, buffer, size);
}

ssize_t write(int fd, const void* buffer, size_t size) {
  Point("write");
  return syscall(SYS_write, fd, buffer, size);
}

int fsync(int fd) {
  Point("fsync");
  if (getenv("DISTURB_STEPS") != nullptr) {
    char link[64];
    char path[1024];
    snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
    const ssize_t length = readlink(link, path, sizeof path - 1);
    path[length < 0 ? 0 : length] = '\0';
    Note('s', path);
  }
  return static_cast<int>(syscall(SYS_fsync, fd));
}

int rename(const char* from, const char* to) noexcept {
  Point("rename");
  const long result = syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, 0);
  const int error = errno;
  if (result == 0) Note('n', to);
  errno = error;
  return static_cast<int>(result);
}

int unlink(const char* path) noexcept {
  Point("unlink");
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

int mkdir(const char* path, mode_t mode) noexcept {
  Point("mkdir");
  return static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

}  // extern "C"
