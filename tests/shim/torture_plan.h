// What happens at which call of the program under torture, and what is written down of it: the part
// of the preloaded library that knows no call by itself (torture.cc has the calls).
//
// The environment says what happens; "number" counts the calls of the program's first process:
//   TORTURE_PROGRAM=name       of this program only, not of those that it starts
//   TORTURE_FAIL=number:error[+][;...]  that call fails; with "+" so do all later ones of its name.
//                              Errors above 9000 are none: see kShort and kNothing
//   TORTURE_KILL=number:signal  this signal comes just before the call
//   TORTURE_ALLOCATION=number[+]  that allocation since main fails, with "+" all later ones, too
//   TORTURE_LOG=path           a line "number call path" for each call, and at the end
//                              "allocations number"
//   TORTURE_RECORD=path        what changes files and directories, so that it can be replayed
//   TORTURE_CLOCK=seconds      the time of day stands still there
//   TORTURE_CLOCK_AT=number:seconds  and there from that call on
//   TORTURE_PREFIX=directory   stands for the installation prefix, "/opt/Qelsvr"
// Everything goes straight to the kernel and needs no memory of the program.
#pragma once

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

namespace torture {

// Transfers that do not fail: half of what was asked for, and nothing.
inline constexpr int kShort = 9001;
inline constexpr int kNothing = 9002;

inline constexpr size_t kPath = 1024;
inline constexpr char kPrefix[] = "/opt/Qelsvr";

struct Failure {
  long at;
  int error;
  bool for_good;
  char call[16];  // of the call at `at`, once it has been met
};

struct Plan {
  bool active;
  bool in_main;  // allocations count from there on
  pid_t process;
  Failure failures[8];
  int failure_count;
  long kill_at;
  int signal;
  long clock_at;
  long clock;
  long allocation;
  bool allocations_for_good;
  int log;
  int record;
  const char* prefix;
  long calls;
  long allocations;
};

inline Plan plan;

inline const char* Variable(const char* name) {
  const char* text = getenv(name);
  return text != nullptr && *text != '\0' ? text : nullptr;
}

// A descriptor beyond those that programs see and close.
inline int OpenNotes(const char* variable, int number) {
  const char* path = Variable(variable);
  if (path == nullptr) return -1;
  const long fd =
      syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644);
  if (fd < 0) return -1;
  syscall(SYS_dup3, fd, number, O_CLOEXEC);
  syscall(SYS_close, fd);
  return number;
}

inline void Note(int fd, const char* format, ...) {
  if (fd < 0) return;
  const int error = errno;
  char line[3 * kPath];
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(line, sizeof line, format, arguments);
  va_end(arguments);
  if (length > 0) syscall(SYS_write, fd, line, static_cast<size_t>(length));
  errno = error;
}

inline bool IsTheProgram() {
  const char* wanted = Variable("TORTURE_PROGRAM");
  if (wanted == nullptr) return false;
  char path[kPath];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) return false;
  path[length] = '\0';
  const char* slash = strrchr(path, '/');
  return slash != nullptr && strcmp(slash + 1, wanted) == 0;
}

inline void ReadFailures() {
  const char* text = Variable("TORTURE_FAIL");
  while (text != nullptr && plan.failure_count < 8) {
    Failure& failure = plan.failures[plan.failure_count];
    char more = '\0';
    if (sscanf(text, "%ld:%d%c", &failure.at, &failure.error, &more) < 2) break;
    failure.for_good = more == '+';
    ++plan.failure_count;
    text = strchr(text, ';');
    if (text != nullptr) ++text;
  }
}

__attribute__((constructor)) inline void ReadPlan() {
  plan.log = plan.record = -1;
  plan.prefix = Variable("TORTURE_PREFIX");
  if (!IsTheProgram()) return;
  ReadFailures();
  if (const char* text = Variable("TORTURE_KILL")) {
    sscanf(text, "%ld:%d", &plan.kill_at, &plan.signal);
  }
  if (const char* text = Variable("TORTURE_CLOCK_AT")) {
    sscanf(text, "%ld:%ld", &plan.clock_at, &plan.clock);
  }
  if (const char* text = Variable("TORTURE_ALLOCATION")) {
    char more = '\0';
    sscanf(text, "%ld%c", &plan.allocation, &more);
    plan.allocations_for_good = more == '+';
  }
  plan.log = OpenNotes("TORTURE_LOG", 1000);
  plan.record = OpenNotes("TORTURE_RECORD", 1001);
  plan.process = getpid();
  plan.active = true;
}

__attribute__((destructor)) inline void NoteAllocations() {
  if (plan.active && getpid() == plan.process) {
    Note(plan.log, "allocations %ld\n", plan.allocations);
  }
}

// The path of a descriptor's file.
inline void PathOf(int fd, char (&path)[kPath]) {
  char link[64];
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const ssize_t length = readlink(link, path, sizeof path - 1);
  path[length < 0 ? 0 : length] = '\0';
}

inline bool Active() { return plan.active && getpid() == plan.process; }

// Called before each call. 0, or the error that it fails with.
inline int Step(const char* call, const char* path) {
  if (!Active()) return 0;
  const int error = errno;
  const long number = ++plan.calls;
  Note(plan.log, "%ld %s %s\n", number, call, path);
  if (number == plan.kill_at) {
    syscall(SYS_kill, plan.process, plan.signal);
  }
  errno = error;
  for (int i = 0; i < plan.failure_count; ++i) {
    Failure& failure = plan.failures[i];
    if (number == failure.at) snprintf(failure.call, sizeof failure.call, "%s", call);
    const bool later = failure.for_good && number > failure.at && strcmp(failure.call, call) == 0;
    if (number == failure.at || later) return failure.error;
  }
  return 0;
}

inline int Step(const char* call, int fd) {
  char path[kPath] = "";
  if (Active() && plan.log >= 0) PathOf(fd, path);
  return Step(call, path);
}

// True, and errno set: the call is not made.
inline bool Fails(int error) {
  if (error == 0 || error >= kShort) return false;
  errno = error;
  return true;
}

inline bool AllocationFails() {
  if (!plan.active || !plan.in_main) return false;
  const long number = ++plan.allocations;
  if (plan.allocation == 0) return false;
  if (number != plan.allocation && !(plan.allocations_for_good && number > plan.allocation)) {
    return false;
  }
  if (getpid() != plan.process) return false;
  errno = ENOMEM;
  return true;
}

// The path that is meant: the installation prefix lies where the plan says.
class Placed {
 public:
  explicit Placed(const char* path) : path_(path) {
    constexpr size_t kLength = sizeof kPrefix - 1;
    if (plan.prefix == nullptr || path == nullptr || strncmp(path, kPrefix, kLength) != 0) return;
    snprintf(placed_, sizeof placed_, "%s%s", plan.prefix, path + kLength);
    path_ = placed_;
  }
  const char* get() const { return path_; }

 private:
  const char* path_;
  char placed_[kPath];
};

// --- What is recorded of files ---------------------------------------------------------------------

inline bool Recording() { return plan.record >= 0 && Active(); }

inline unsigned long InodeOf(int fd) {
  struct stat status {};
  syscall(SYS_newfstatat, fd, "", &status, AT_EMPTY_PATH);
  return status.st_ino;
}

inline bool Exists(const char* path) {
  struct stat status {};
  return syscall(SYS_newfstatat, AT_FDCWD, path, &status, AT_SYMLINK_NOFOLLOW) == 0;
}

inline void RecordOpen(int fd, const char* path, int flags, bool existed) {
  if (!Recording() || fd < 0) return;
  const int error = errno;
  if ((flags & O_TMPFILE) == O_TMPFILE) {
    Note(plan.record, "unnamed %lu\n", InodeOf(fd));
  } else if ((flags & O_CREAT) != 0 && !existed) {
    Note(plan.record, "create %lu %s\n", InodeOf(fd), path);
  } else if ((flags & O_TRUNC) != 0 && existed) {
    Note(plan.record, "truncate %lu 0\n", InodeOf(fd));
  }
  errno = error;
}

inline void RecordWrite(int fd, const void* bytes, ssize_t size, off_t offset) {
  if (!Recording() || size <= 0) return;
  const int error = errno;
  struct stat status {};
  syscall(SYS_newfstatat, fd, "", &status, AT_EMPTY_PATH);
  if (S_ISREG(status.st_mode)) {
    if (offset < 0) offset = syscall(SYS_lseek, fd, 0, SEEK_CUR) - size;
    Note(plan.record, "write %lu %ld ", status.st_ino, static_cast<long>(offset));
    const auto* p = static_cast<const unsigned char*>(bytes);
    char digits[kPath];
    for (ssize_t i = 0; i < size;) {
      size_t at = 0;
      for (; i < size && at + 2 < sizeof digits; ++i, at += 2) {
        snprintf(digits + at, sizeof digits - at, "%02x", p[i]);
      }
      Note(plan.record, "%s", digits);
    }
    Note(plan.record, "\n");
  }
  errno = error;
}

}  // namespace torture
