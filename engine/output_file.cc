// The output in progress as a file: see the header.
#include "engine/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "areas/finfo.h"
#include "engine/names.h"
#include "platform/directory.h"
#include "platform/process.h"
#include "report/messages.h"
#include "report/runinfo.h"

volatile std::sig_atomic_t temporary_at_wfpath = 0;

namespace {

// A list that a signal handler can walk at any time.
struct Waiting {
  char path[sizeof wfpath];
  Waiting* before;
};
std::atomic<Waiting*> waiting = nullptr;
static_assert(std::atomic<Waiting*>::is_always_lock_free);

// Where the bytes are until the output is whole.
enum class Place {
  kAtPath,   // at wfpath, a temporary name
  kUnnamed,  // nowhere in the file system
  kBeside,   // at `beside`, in the directory of wfpath
  kNode,     // at wfpath, which is a device, pipe or link
};
Place place = Place::kAtPath;
std::string beside;

constexpr uint32_t kDetSync = 0x03020005;
constexpr uint32_t kDetClose = 0x03020006;
constexpr uint32_t kDetRename = 0x03020007;

constexpr int kMostNames = 1000;
constexpr mode_t kMode = 0666;

bool IsRegular(const char* path, struct stat* status) {
  return ::lstat(path, status) == 0 && S_ISREG(status->st_mode);
}

void RemoveRegular(const char* path) {
  struct stat status = {};
  if (IsRegular(path, &status)) ::unlink(path);
}

// Path of an open file, through which one without a name gets its first.
std::string DescriptorPath(int fd) { return "/proc/self/fd/" + std::to_string(fd); }

// A name beside the output that no selection and no removal takes for one of theirs.
std::string NameBeside(int number) {
  return std::string(DirectoryPart(wfpath)) + ".Qelprfarc." + std::to_string(::getpid()) + "." +
         std::to_string(number);
}

int OpenTemporary() {
  temporary_at_wfpath = 1;
  for (int i = 0; i < kMostNames; ++i) {
    wfd = ::open(wfpath, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
    if (wfd >= 0) return 0;
    if (errno != EEXIST) break;
    if (::unlink(wfpath) != 0 && errno != ENOENT) break;
    errno = EEXIST;
  }
  temporary_at_wfpath = 0;
  return errno;
}

// A pipe that nobody reads must not stop the run; one that is read is written at its reader's pace.
int OpenNode() {
  place = Place::kNode;
  wfd = ::open(wfpath, O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, kMode);
  if (wfd < 0) return errno;
  const int flags = ::fcntl(wfd, F_GETFL);
  if (flags != -1 && ::fcntl(wfd, F_SETFL, flags & ~O_NONBLOCK) == 0) return 0;
  const int error = errno;
  ::close(wfd);
  wfd = -1;
  return error;
}

int OpenBeside() {
  place = Place::kBeside;
  for (int i = 0; i < kMostNames; ++i) {
    beside = NameBeside(i);
    wfd = ::open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
    if (wfd >= 0) return 0;
    if (errno != EEXIST) break;
  }
  return errno;
}

int OpenUnnamed() {
  const std::string directory(DirectoryPart(wfpath));
  wfd =
      ::open(directory.empty() ? "." : directory.c_str(), O_WRONLY | O_TMPFILE | O_CLOEXEC, kMode);
  if (wfd >= 0) {
    place = Place::kUnnamed;
    if (::access(DescriptorPath(wfd).c_str(), F_OK) == 0) return 0;
    ::close(wfd);  // no /proc: it could never get a name
    wfd = -1;
    return OpenBeside();
  }
  const bool unknown = errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL || errno == ENOSYS;
  return unknown ? OpenBeside() : errno;
}

// The new file takes over owner and rights of the one that it replaces, as far as it may.
void LikeBefore(const struct stat& before) {
  struct stat status = {};
  if (::fstat(wfd, &status) != 0) return;
  const bool owned = status.st_uid == before.st_uid && status.st_gid == before.st_gid;
  mode_t mode = before.st_mode & 07777;
  if (!owned && ::fchown(wfd, before.st_uid, before.st_gid) != 0) {
    mode &= 0777;
    // What one group was allowed is nothing for another.
    const bool of_group =
        status.st_gid == before.st_gid || ::fchown(wfd, static_cast<uid_t>(-1), before.st_gid) == 0;
    if (!of_group) mode &= ~mode_t{070} | ((mode & 07) << 3);
  }
  if ((status.st_mode & 07777) != mode) static_cast<void>(::fchmod(wfd, mode));
}

int OpenManual() {
  struct stat before = {};
  if (::lstat(wfpath, &before) != 0) return errno == ENOENT ? OpenUnnamed() : errno;
  if (!S_ISREG(before.st_mode)) return OpenNode();
  // The file is replaced, not written; one that may not be written is not to be replaced either.
  if (::access(wfpath, W_OK) != 0) return errno;
  const int error = OpenUnnamed();
  if (error == 0) LikeBefore(before);
  return error;
}

// Something else than a regular file may have come to the path meanwhile.
const char* RenameBeside() {
  struct stat status = {};
  const bool node = ::lstat(wfpath, &status) == 0 && !S_ISREG(status.st_mode);
  if (node) errno = EEXIST;
  return !node && ::rename(beside.c_str(), wfpath) == 0 ? nullptr : "rename";
}

// A link cannot replace a file, so what stands at the path is replaced by way of a second name.
const char* NameUnnamed(int fd) {
  const std::string unnamed = DescriptorPath(fd);
  const auto link = [&](const char* path) {
    return ::linkat(AT_FDCWD, unnamed.c_str(), AT_FDCWD, path, AT_SYMLINK_FOLLOW) == 0;
  };
  if (link(wfpath)) return nullptr;
  for (int i = 0; errno == EEXIST && i < kMostNames; ++i) {
    beside = NameBeside(i);
    if (!link(beside.c_str())) continue;
    const char* const failed = RenameBeside();
    if (failed == nullptr) return nullptr;
    const int error = errno;
    ::unlink(beside.c_str());
    errno = error;
    return failed;
  }
  return "linkat";
}

uint32_t DetailOf(const char* call) {
  if (std::strcmp(call, "close") == 0) return kDetClose;
  return std::strcmp(call, "fsync") == 0 ? kDetSync : kDetRename;
}

}  // namespace

int CreateOutputFile() {
  place = Place::kAtPath;
  const int error = arcdelinfo.auto_flg != 0 ? OpenTemporary() : OpenManual();
  if (error != 0) place = Place::kAtPath;
  return error;
}

const char* CompleteOutputFile() {
  // Closing can fail, so it comes before the name; the second descriptor keeps the file.
  int kept = -1;
  if (place == Place::kUnnamed) {
    kept = ::fcntl(wfd, F_DUPFD_CLOEXEC, 0);
    if (kept < 0) return "fcntl";
  }
  const int fd = wfd;
  wfd = -1;
  const char* failed = ::close(fd) == 0 ? nullptr : "close";
  if (failed == nullptr && place == Place::kUnnamed) failed = NameUnnamed(kept);
  if (failed == nullptr && place == Place::kBeside) failed = RenameBeside();
  if (kept >= 0) {
    const int error = errno;
    ::close(kept);
    errno = error;
  }
  return failed;
}

const char* RenameOutputFile(const char* from, const char* to) {
  if (RenameToFreeName(from, to) == 0) return nullptr;
  const bool unknown = errno == EINVAL || errno == ENOSYS;
  if (errno != EEXIST && !unknown) return "rename";
  struct stat status = {};
  const bool stands = ::lstat(to, &status) == 0;
  if (stands && !(S_ISREG(status.st_mode) && status.st_size == 0)) {
    errno = EEXIST;
    return "rename";
  }
  return ::rename(from, to) == 0 ? nullptr : "rename";
}

void FinishFailed(const char* name, const char* call) {
  LogMessage(111, name, call, errno, DetailOf(call));
  if (arcdelinfo.auto_flg == 0) {
    DiscardOutputFile();
    EndProcess(1);
  }
  arcdel_errflg |= 1;
}

void LeaveOutputAndEnd() {
  if (arcdelinfo.auto_flg == 0 && wfd >= 0) {
    const char* const failed = CompleteOutputFile();
    if (failed != nullptr) FinishFailed(wfname, failed);
  }
  EndProcess(1);
}

void DiscardOutputFile() {
  if (wfd >= 0) ::close(wfd);
  wfd = -1;
  if (place == Place::kAtPath) RemoveRegular(wfpath);
  if (place == Place::kBeside) RemoveRegular(beside.c_str());
  ReleaseOutputFile();
}

void ReleaseOutputFile() {
  temporary_at_wfpath = 0;
  place = Place::kAtPath;
}

void KeepWaiting() {
  auto* const file = new Waiting;
  std::memcpy(file->path, wfpath, sizeof file->path);
  file->before = waiting;
  waiting = file;
}

void RemoveWaiting() {
  for (const Waiting* file = waiting; file != nullptr; file = file->before) ::unlink(file->path);
}

void ForgetWaiting() {
  for (Waiting* file = waiting.exchange(nullptr); file != nullptr;) {
    Waiting* const before = file->before;
    delete file;
    file = before;
  }
}
