// Preloaded into a program under torture: each call of the C library that can fail, or that changes
// a file, goes through here. torture_plan.h says what may happen to it.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <time.h>

#include "tests/shim/torture_plan.h"

using namespace torture;

namespace {

template <class Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

using Main = int(int, char**, char**);
Main* program_main = nullptr;

int StartMain(int argc, char** argv, char** environment) {
  plan.in_main = true;
  return program_main(argc, argv, environment);
}

// Half of a transfer, or nothing of it.
size_t Cut(int error, size_t size) {
  if (error == kShort) return size / 2 + size % 2;
  return error == kNothing ? 0 : size;
}

int Open(const char* path, int flags, mode_t mode) {
  const Placed placed(path);
  if (Fails(Step((flags & O_ACCMODE) == O_RDONLY ? "open" : "create", path))) return -1;
  const bool existed = Recording() && Exists(placed.get());
  const int fd = static_cast<int>(syscall(SYS_openat, AT_FDCWD, placed.get(), flags, mode));
  RecordOpen(fd, placed.get(), flags, existed);
  return fd;
}

}  // namespace

extern "C" {

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

void* malloc(size_t size) noexcept { return AllocationFails() ? nullptr : __libc_malloc(size); }
void* calloc(size_t count, size_t size) noexcept {
  return AllocationFails() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* block, size_t size) noexcept {
  return AllocationFails() ? nullptr : __libc_realloc(block, size);
}

// What fails before main is nobody's to handle.
int __libc_start_main(Main* start, int argc, char** argv, void (*init)(), void (*fini)(),
                      void (*loader_fini)(), void* stack_end) {
  static auto* const next =
      Next<int(Main*, int, char**, void (*)(), void (*)(), void (*)(), void*)>("__libc_start_main");
  program_main = start;
  return next(StartMain, argc, argv, init, fini, loader_fini, stack_end);
}

// --- Files -----------------------------------------------------------------------------------------

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const bool creates = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  const mode_t mode = creates ? va_arg(arguments, mode_t) : 0;
  va_end(arguments);
  return Open(path, flags, mode);
}
int open64(const char* path, int flags, ...) __attribute__((alias("open")));

FILE* fopen(const char* path, const char* mode) {
  static auto* const next = Next<FILE*(const char*, const char*)>("fopen");
  const Placed placed(path);
  if (Fails(Step(mode[0] == 'r' ? "open" : "create", path))) return nullptr;
  const bool existed = Recording() && Exists(placed.get());
  FILE* const file = next(placed.get(), mode);
  if (file != nullptr && mode[0] != 'r') {
    RecordOpen(fileno(file), placed.get(), O_CREAT | (mode[0] == 'w' ? O_TRUNC : 0), existed);
  }
  return file;
}
FILE* fopen64(const char* path, const char* mode) __attribute__((alias("fopen")));

int mkostemp(char* pattern, int flags) {
  static auto* const next = Next<int(char*, int)>("mkostemp");
  if (Fails(Step("create", pattern))) return -1;
  const int fd = next(pattern, flags);
  RecordOpen(fd, pattern, O_CREAT, false);
  return fd;
}

int close(int fd) {
  const int error = Step("close", fd);
  const int result = static_cast<int>(syscall(SYS_close, fd));  // whatever is reported
  return Fails(error) ? -1 : result;
}

ssize_t read(int fd, void* buffer, size_t size) {
  const int error = Step("read", fd);
  return Fails(error) ? -1 : syscall(SYS_read, fd, buffer, Cut(error, size));
}

ssize_t pread(int fd, void* buffer, size_t size, off_t offset) {
  const int error = Step("pread", fd);
  return Fails(error) ? -1 : syscall(SYS_pread64, fd, buffer, Cut(error, size), offset);
}
ssize_t pread64(int fd, void* buffer, size_t size, off_t offset) __attribute__((alias("pread")));

// What hardened programs call in the place of some of these.
int __open_2(const char* path, int flags) { return Open(path, flags, 0); }
ssize_t __read_chk(int fd, void* buffer, size_t size, size_t room) {
  if (size > room) abort();
  return read(fd, buffer, size);
}
ssize_t __pread_chk(int fd, void* buffer, size_t size, off_t offset, size_t room) {
  if (size > room) abort();
  return pread(fd, buffer, size, offset);
}

ssize_t write(int fd, const void* buffer, size_t size) {
  const int error = Step("write", fd);
  if (Fails(error)) return -1;
  const ssize_t written = syscall(SYS_write, fd, buffer, Cut(error, size));
  RecordWrite(fd, buffer, written, -1);
  return written;
}

ssize_t pwrite(int fd, const void* buffer, size_t size, off_t offset) {
  const int error = Step("pwrite", fd);
  if (Fails(error)) return -1;
  const ssize_t written = syscall(SYS_pwrite64, fd, buffer, Cut(error, size), offset);
  RecordWrite(fd, buffer, written, offset);
  return written;
}
ssize_t pwrite64(int fd, const void* buffer, size_t size, off_t offset)
    __attribute__((alias("pwrite")));

ssize_t writev(int fd, const struct iovec* pieces, int count) {
  if (Fails(Step("write", fd))) return -1;
  const ssize_t written = syscall(SYS_writev, fd, pieces, count);
  for (ssize_t i = 0, left = written; i < count && left > 0; ++i) {
    const auto size = static_cast<ssize_t>(pieces[i].iov_len);
    const off_t end = syscall(SYS_lseek, fd, 0, SEEK_CUR);
    RecordWrite(fd, pieces[i].iov_base, left < size ? left : size, end - left);
    left -= size;
  }
  return written;
}

size_t fwrite(const void* data, size_t size, size_t count, FILE* file) {
  static auto* const next = Next<size_t(const void*, size_t, size_t, FILE*)>("fwrite");
  return Fails(Step("fwrite", fileno(file))) ? 0 : next(data, size, count, file);
}

int fputs(const char* text, FILE* file) {
  static auto* const next = Next<int(const char*, FILE*)>("fputs");
  return Fails(Step("fputs", fileno(file))) ? EOF : next(text, file);
}

int fflush(FILE* file) {
  static auto* const next = Next<int(FILE*)>("fflush");
  return file != nullptr && Fails(Step("fflush", fileno(file))) ? EOF : next(file);
}

int fclose(FILE* file) {
  static auto* const next = Next<int(FILE*)>("fclose");
  const int error = Step("fclose", fileno(file));
  const int result = next(file);
  return Fails(error) ? EOF : result;
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
  return Fails(Step("lseek", fd)) ? -1 : syscall(SYS_lseek, fd, offset, whence);
}
off_t lseek64(int fd, off_t offset, int whence) noexcept __attribute__((alias("lseek")));

int ftruncate(int fd, off_t size) noexcept {
  if (Fails(Step("ftruncate", fd))) return -1;
  if (Recording()) Note(plan.record, "truncate %lu %ld\n", InodeOf(fd), static_cast<long>(size));
  return static_cast<int>(syscall(SYS_ftruncate, fd, size));
}
int ftruncate64(int fd, off_t size) noexcept __attribute__((alias("ftruncate")));

int fsync(int fd) {
  if (Fails(Step("fsync", fd))) return -1;
  const int result = static_cast<int>(syscall(SYS_fsync, fd));
  if (Recording() && result == 0) {
    char path[kPath];
    PathOf(fd, path);
    Note(plan.record, "sync %lu %s\n", InodeOf(fd), path);
  }
  return result;
}
int fdatasync(int fd) __attribute__((alias("fsync")));

int fcntl(int fd, int command, ...) {
  va_list arguments;
  va_start(arguments, command);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  if (Fails(Step("fcntl", fd))) return -1;
  return static_cast<int>(syscall(SYS_fcntl, fd, command, argument));
}
int fcntl64(int fd, int command, ...) __attribute__((alias("fcntl")));

int flock(int fd, int operation) noexcept {
  return Fails(Step("flock", fd)) ? -1 : static_cast<int>(syscall(SYS_flock, fd, operation));
}

int fstat(int fd, struct stat* status) noexcept {
  if (Fails(Step("fstat", fd))) return -1;
  return static_cast<int>(syscall(SYS_newfstatat, fd, "", status, AT_EMPTY_PATH));
}
int fstat64(int fd, struct stat64* status) noexcept {
  return fstat(fd, reinterpret_cast<struct stat*>(status));
}

int stat(const char* path, struct stat* status) noexcept {
  const Placed placed(path);
  if (Fails(Step("stat", path))) return -1;
  return static_cast<int>(syscall(SYS_newfstatat, AT_FDCWD, placed.get(), status, 0));
}
int stat64(const char* path, struct stat64* status) noexcept {
  return stat(path, reinterpret_cast<struct stat*>(status));
}

int lstat(const char* path, struct stat* status) noexcept {
  const Placed placed(path);
  if (Fails(Step("lstat", path))) return -1;
  return static_cast<int>(
      syscall(SYS_newfstatat, AT_FDCWD, placed.get(), status, AT_SYMLINK_NOFOLLOW));
}

int access(const char* path, int mode) noexcept {
  const Placed placed(path);
  if (Fails(Step("access", path))) return -1;
  return static_cast<int>(syscall(SYS_faccessat, AT_FDCWD, placed.get(), mode));
}

int fchmod(int fd, mode_t mode) noexcept {
  return Fails(Step("fchmod", fd)) ? -1 : static_cast<int>(syscall(SYS_fchmod, fd, mode));
}

int fchown(int fd, uid_t user, gid_t group) noexcept {
  return Fails(Step("fchown", fd)) ? -1 : static_cast<int>(syscall(SYS_fchown, fd, user, group));
}

// --- Directories -----------------------------------------------------------------------------------

int renameat2(int from_at, const char* from, int to_at, const char* to, unsigned flags) noexcept {
  const Placed placed_from(from);
  const Placed placed_to(to);
  if (Fails(Step("rename", to))) return -1;
  const long result =
      syscall(SYS_renameat2, from_at, placed_from.get(), to_at, placed_to.get(), flags);
  if (Recording() && result == 0) {
    Note(plan.record, "rename %s\nto %s\n", placed_from.get(), placed_to.get());
  }
  return static_cast<int>(result);
}

int rename(const char* from, const char* to) noexcept {
  return renameat2(AT_FDCWD, from, AT_FDCWD, to, 0);
}

int linkat(int from_at, const char* from, int to_at, const char* to, int flags) noexcept {
  if (Fails(Step("linkat", to))) return -1;
  const long result = syscall(SYS_linkat, from_at, from, to_at, to, flags);
  if (Recording() && result == 0) {
    struct stat status {};
    syscall(SYS_newfstatat, to_at, to, &status, AT_SYMLINK_NOFOLLOW);
    Note(plan.record, "link %lu %s\n", status.st_ino, to);
  }
  return static_cast<int>(result);
}

int unlink(const char* path) noexcept {
  const Placed placed(path);
  if (Fails(Step("unlink", path))) return -1;
  const long result = syscall(SYS_unlinkat, AT_FDCWD, placed.get(), 0);
  if (Recording() && result == 0) Note(plan.record, "unlink %s\n", placed.get());
  return static_cast<int>(result);
}

int rmdir(const char* path) noexcept {
  const Placed placed(path);
  if (Fails(Step("rmdir", path))) return -1;
  return static_cast<int>(syscall(SYS_unlinkat, AT_FDCWD, placed.get(), AT_REMOVEDIR));
}

int mkdir(const char* path, mode_t mode) noexcept {
  const Placed placed(path);
  if (Fails(Step("mkdir", path))) return -1;
  const long result = syscall(SYS_mkdirat, AT_FDCWD, placed.get(), mode);
  if (Recording() && result == 0) Note(plan.record, "mkdir %s\n", placed.get());
  return static_cast<int>(result);
}

int chdir(const char* path) noexcept {
  if (Fails(Step("chdir", path))) return -1;
  return static_cast<int>(syscall(SYS_chdir, path));
}

DIR* opendir(const char* path) {
  static auto* const next = Next<DIR*(const char*)>("opendir");
  const Placed placed(path);
  return Fails(Step("opendir", path)) ? nullptr : next(placed.get());
}

dirent* readdir(DIR* stream) {
  static auto* const next = Next<dirent*(DIR*)>("readdir");
  return Fails(Step("readdir", dirfd(stream))) ? nullptr : next(stream);
}
dirent64* readdir64(DIR* stream) { return reinterpret_cast<dirent64*>(readdir(stream)); }

int closedir(DIR* stream) {
  static auto* const next = Next<int(DIR*)>("closedir");
  const int error = Step("closedir", dirfd(stream));
  const int result = next(stream);
  return Fails(error) ? -1 : result;
}

// --- Processes, shared memory, time ----------------------------------------------------------------

pid_t fork() noexcept {
  static auto* const next = Next<pid_t()>("fork");
  return Fails(Step("fork", "")) ? -1 : next();
}

pid_t waitpid(pid_t process, int* status, int options) {
  static auto* const next = Next<pid_t(pid_t, int*, int)>("waitpid");
  return Fails(Step("waitpid", "")) ? -1 : next(process, status, options);
}

int system(const char* command) {
  static auto* const next = Next<int(const char*)>("system");
  return Fails(Step("system", "")) ? -1 : next(command);
}

void* shmat(int number, const void* address, int flags) noexcept {
  static auto* const next = Next<void*(int, const void*, int)>("shmat");
  return Fails(Step("shmat", "")) ? reinterpret_cast<void*>(-1) : next(number, address, flags);
}

int shmdt(const void* address) noexcept {
  static auto* const next = Next<int(const void*)>("shmdt");
  return Fails(Step("shmdt", "")) ? -1 : next(address);
}

int shmctl(int number, int command, shmid_ds* status) noexcept {
  static auto* const next = Next<int(int, int, shmid_ds*)>("shmctl");
  return Fails(Step("shmctl", "")) ? -1 : next(number, command, status);
}

int shmget(key_t key, size_t size, int flags) noexcept {
  static auto* const next = Next<int(key_t, size_t, int)>("shmget");
  return Fails(Step("shmget", "")) ? -1 : next(key, size, flags);
}

int clock_gettime(clockid_t clock, timespec* now) noexcept {
  static const char* const fixed = Variable("TORTURE_CLOCK");
  const long result = syscall(SYS_clock_gettime, clock, now);
  if (fixed == nullptr || clock != CLOCK_REALTIME) return static_cast<int>(result);
  now->tv_sec = plan.clock_at != 0 && plan.calls >= plan.clock_at ? plan.clock : atol(fixed);
  return static_cast<int>(result);
}

time_t time(time_t* now) noexcept {
  timespec current{};
  clock_gettime(CLOCK_REALTIME, &current);
  if (now != nullptr) *now = current.tv_sec;
  return current.tv_sec;
}

}  // extern "C"
