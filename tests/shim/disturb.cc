// Preloaded into a program under test (LD_PRELOAD): disturbs it between its system calls, where
// nothing from outside could hit so exactly. The environment says how:
//   DISTURB_SIGNAL=s, DISTURB_AT=n   signal s is raised just before the n-th call of those below
//   DISTURB_COUNT=path               the number of calls is written to this file at the end
//   DISTURB_CALLS=fsync,rename       only these are counted (default: all)
//   DISTURB_READ_DELAY=us            every read takes that many microseconds longer
//   DISTURB_SHORT=n                  no read brings more than n bytes
//   DISTURB_FAIL_OPEN=end:n          from the n-th opening of a path with this end on, EACCES
//   DISTURB_FAIL=rule[;rule...]      calls that fail. A rule is call:end:from:to:errno, the from-th
//                                    to the to-th time that this call meets a path with this end
//                                    ("" is any; a directory for readdir, the descriptor's file for
//                                    calls on descriptors). malloc takes "" and fails ENOMEM.
//   DISTURB_STEPS=path               a line for each file opened for reading ("r path") or writing
//                                    ("w path"), synced ("s path") and renamed ("n new path")
//   DISTURB_DESCRIPTORS=path         a line "number path" for each file opened
// The functions go straight to the kernel, so they also work while others are preloaded.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdint>
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

bool EndsWith(const char* path, const char* end, size_t length) {
  const size_t path_length = strlen(path);
  return path_length >= length && memcmp(path + path_length - length, end, length) == 0;
}

bool OpeningFails(const char* path) {
  static long openings = 0;
  const char* rule = getenv("DISTURB_FAIL_OPEN");
  const char* colon = rule != nullptr ? strrchr(rule, ':') : nullptr;
  if (colon == nullptr || !EndsWith(path, rule, static_cast<size_t>(colon - rule))) return false;
  return ++openings >= atol(colon + 1);
}

// One rule of DISTURB_FAIL, taken apart in place: nothing here may need memory of the program.
struct Rule {
  char call[16];
  char end[256];
  long from;
  long to;
  int error;
  long met;
};

constexpr int kMaxRules = 64;

struct Rules {
  Rule rows[kMaxRules];
  int count;
};

void AddRule(const char* text, size_t length, Rules* rules) {
  char copy[512];
  if (length >= sizeof copy || rules->count == kMaxRules) return;
  memcpy(copy, text, length);
  copy[length] = '\0';
  Rule& rule = rules->rows[rules->count];
  rule.end[0] = '\0';
  if (sscanf(copy, "%15[^:]:%255[^:]:%ld:%ld:%d", rule.call, rule.end, &rule.from, &rule.to,
             &rule.error) == 5 ||
      sscanf(copy, "%15[^:]::%ld:%ld:%d", rule.call, &rule.from, &rule.to, &rule.error) == 4) {
    ++rules->count;
  }
}

// Plain memory: filled once, by the first call that asks.
Rules* FailRules() {
  static Rules rules;
  static bool read = false;
  if (read) return &rules;
  read = true;
  const char* text = getenv("DISTURB_FAIL");
  while (text != nullptr && *text != '\0') {
    const char* next = strchr(text, ';');
    AddRule(text, next != nullptr ? static_cast<size_t>(next - text) : strlen(text), &rules);
    text = next != nullptr ? next + 1 : nullptr;
  }
  return &rules;
}

// True, and errno set, when the call on this path is to fail. Every rule counts its own calls.
bool Fails(const char* call, const char* path) {
  bool fails = false;
  Rules* rules = FailRules();
  for (int i = 0; i < rules->count; ++i) {
    Rule& rule = rules->rows[i];
    if (strcmp(rule.call, call) != 0 || !EndsWith(path, rule.end, strlen(rule.end))) continue;
    ++rule.met;
    if (rule.met < rule.from || rule.met > rule.to) continue;
    errno = rule.error;
    fails = true;
  }
  return fails;
}

bool AnyRuleFor(const char* call) {
  const Rules* rules = FailRules();
  for (int i = 0; i < rules->count; ++i) {
    if (strcmp(rules->rows[i].call, call) == 0) return true;
  }
  return false;
}

// The same for a descriptor, by the path of its file.
void PathOf(int fd, char (&path)[1024]) {
  char link[64];
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  const ssize_t length = readlink(link, path, sizeof path - 1);
  path[length < 0 ? 0 : length] = '\0';
}

bool FailsOn(const char* call, int fd) {
  if (!AnyRuleFor(call)) return false;
  const int error = errno;
  char path[1024];
  PathOf(fd, path);
  errno = error;
  return Fails(call, path);
}

void Delay() {
  static const long delay = Number("DISTURB_READ_DELAY");
  if (delay > 0) usleep(static_cast<useconds_t>(delay));
}

size_t Most(size_t size) {
  static const long most = Number("DISTURB_SHORT");
  return most > 0 && size > static_cast<size_t>(most) ? static_cast<size_t>(most) : size;
}

template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void NoteDescriptor(long fd, const char* file) {
  static const char* const path = getenv("DISTURB_DESCRIPTORS");
  if (path == nullptr || fd < 0) return;
  const int error = errno;
  char line[1100];
  const int length = snprintf(line, sizeof line, "%ld %s\n", fd, file);
  const long notes = syscall(SYS_openat, AT_FDCWD, path, O_WRONLY | O_CREAT | O_APPEND, 0644);
  if (notes >= 0 && length > 0) syscall(SYS_write, notes, line, static_cast<size_t>(length));
  if (notes >= 0) syscall(SYS_close, notes);
  errno = error;
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

void* __libc_malloc(size_t size);

int open(const char* path, int flags, ...) {
  Point("open");
  Note((flags & O_ACCMODE) == O_RDONLY ? 'r' : 'w', path);
  if (Fails("open", path)) return -1;
  if (OpeningFails(path)) {
    errno = EACCES;
    return -1;
  }
  va_list arguments;
  va_start(arguments, flags);
  const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  const int mode = creates ? va_arg(arguments, int) : 0;
  va_end(arguments);
  const long fd = syscall(SYS_openat, AT_FDCWD, path, flags, mode);
  NoteDescriptor(fd, path);
  return static_cast<int>(fd);
}

int close(int fd) {
  Point("close");
  if (FailsOn("close", fd)) {
    const int error = errno;
    syscall(SYS_close, fd);  // as the kernel does, whatever it reports
    errno = error;
    return -1;
  }
  return static_cast<int>(syscall(SYS_close, fd));
}

ssize_t read(int fd, void* buffer, size_t size) {
  Point("read");
  Delay();
  if (FailsOn("read", fd)) return -1;
  return syscall(SYS_read, fd, buffer, Most(size));
}

ssize_t pread(int fd, void* buffer, size_t size, off_t offset) {
  Point("pread");
  Delay();
  if (FailsOn("pread", fd)) return errno == 0 ? 0 : -1;  // error 0: as if the file ended there
  return syscall(SYS_pread64, fd, buffer, Most(size), offset);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  Point("lseek");
  if (FailsOn("lseek", fd)) return -1;
  return syscall(SYS_lseek, fd, offset, whence);
}

ssize_t write(int fd, const void* buffer, size_t size) {
  Point("write");
  if (FailsOn("write", fd)) return -1;
  return syscall(SYS_write, fd, buffer, size);
}

int fsync(int fd) {
  Point("fsync");
  if (FailsOn("fsync", fd)) return -1;
  if (getenv("DISTURB_STEPS") != nullptr) {
    char path[1024];
    PathOf(fd, path);
    Note('s', path);
  }
  return static_cast<int>(syscall(SYS_fsync, fd));
}

int renameat2(int from_at, const char* from, int to_at, const char* to, unsigned flags) noexcept {
  Point("rename");
  if (Fails("rename", to)) return -1;
  const long result = syscall(SYS_renameat2, from_at, from, to_at, to, flags);
  const int error = errno;
  if (result == 0) Note('n', to);
  errno = error;
  return static_cast<int>(result);
}

int rename(const char* from, const char* to) noexcept {
  return renameat2(AT_FDCWD, from, AT_FDCWD, to, 0);
}

int linkat(int from_at, const char* from, int to_at, const char* to, int flags) noexcept {
  Point("linkat");
  if (Fails("linkat", to)) return -1;
  return static_cast<int>(syscall(SYS_linkat, from_at, from, to_at, to, flags));
}

int unlink(const char* path) noexcept {
  Point("unlink");
  if (Fails("unlink", path)) return -1;
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, path, 0));
}

int mkdir(const char* path, mode_t mode) noexcept {
  Point("mkdir");
  if (Fails("mkdir", path)) return -1;
  return static_cast<int>(syscall(SYS_mkdirat, AT_FDCWD, path, mode));
}

// What follows only fails by rule and is no point of disturbance.

int stat(const char* path, struct stat* status) noexcept {
  if (Fails("stat", path)) return -1;
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, path, status, 0));
}

int lstat(const char* path, struct stat* status) noexcept {
  if (Fails("lstat", path)) return -1;
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, path, status, AT_SYMLINK_NOFOLLOW));
}

int access(const char* path, int mode) noexcept {
  if (Fails("access", path)) return -1;
  return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, path, mode));
}

int fchown(int fd, uid_t owner, gid_t group) noexcept {
  if (FailsOn("fchown", fd)) return -1;
  return static_cast<int>(syscall(SYS_fchown, fd, owner, group));
}

// Called by either name. Every command of it takes a number or a pointer.
int fcntl64(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  const auto argument = va_arg(arguments, uintptr_t);
  va_end(arguments);
  if (FailsOn("fcntl", fd)) return -1;
  return static_cast<int>(syscall(SYS_fcntl, fd, command, argument));
}
int fcntl(int fd, int command, ...) __attribute__((alias("fcntl64")));

int fstat(int fd, struct stat* status) noexcept {
  if (FailsOn("fstat", fd)) return -1;
  return static_cast<int>(syscall(SYS_newfstatat, fd, "", status, AT_EMPTY_PATH));
}

// What hardened programs call in the place of some of these.
int __open_2(const char* path, int flags) { return open(path, flags); }
ssize_t __read_chk(int fd, void* buffer, size_t size, size_t room) {
  if (size > room) abort();
  return read(fd, buffer, size);
}
ssize_t __pread_chk(int fd, void* buffer, size_t size, off_t offset, size_t room) {
  if (size > room) abort();
  return pread(fd, buffer, size, offset);
}

DIR* opendir(const char* path) {
  static auto* const next = Next<DIR*(const char*)>("opendir");
  if (Fails("opendir", path)) return nullptr;
  return next(path);
}

dirent* readdir(DIR* stream) {
  static auto* const next = Next<dirent*(DIR*)>("readdir");
  if (FailsOn("readdir", dirfd(stream))) return nullptr;
  return next(stream);
}

void* malloc(size_t size) noexcept {
  if (AnyRuleFor("malloc") && Fails("malloc", "")) return nullptr;
  return __libc_malloc(size);  // looking the next one up might need memory itself
}

}  // extern "C"
