// Files under construction: see the header.
#include "tools/output/record_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/output/report.h"
#include "tools/output/unfinished.h"

namespace psltool {

namespace {

bool FailWithError(const std::string& path, const char* what) {
  return Fail(path, fmt::format("{}: {}", what, std::strerror(errno)));
}

// Names that somebody left behind, or prepared, before it is given up.
constexpr int kMostTries = 100;

}  // namespace

int CreatePart(const std::string& path, std::string& part) {
  // A signal removes what is remembered: it waits until the file is there and known to be ours.
  const SignalsHeld held;
  int fd = -1;
  for (int i = 0; i < kMostTries && fd == -1; ++i) {
    part = fmt::format("{}.{}{}.part", path, getpid(), i == 0 ? "" : fmt::format("-{}", i));
    fd = open(part.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd == -1 && errno != EEXIST) break;
  }
  if (fd != -1) {
    RememberUnfinished(part);
  } else {
    part.clear();
  }
  return fd;
}

RecordFile::~RecordFile() {
  if (fd_ != -1) close(fd_);
  if (part_.empty()) return;
  unlink(part_.c_str());
  ForgetUnfinished(part_);
}

bool RecordFile::Create() {
  // A rename would put a file in the place of a device or pipe.
  struct stat state {};
  if (stat(path_.c_str(), &state) == 0 && !S_ISREG(state.st_mode)) {
    return Fail(path_, "is no regular file and cannot be replaced by one");
  }
  fd_ = CreatePart(path_, part_);
  return fd_ != -1 || FailWithError(path_, "cannot be created");
}

bool RecordFile::Write(const uint8_t* record, size_t size) {
  size_ += size;
  while (size > 0) {
    // A disk that is nearly full takes a part; the next call tells why.
    const ssize_t written = write(fd_, record, size);
    if (written == -1 && errno == EINTR) continue;
    if (written == -1) return FailWithError(path_, "cannot be written");
    record += written;
    size -= static_cast<size_t>(written);
  }
  return true;
}

bool RecordFile::Finish() {
  const int fd = fd_;
  fd_ = -1;
  if (close(fd) == -1) return FailWithError(path_, "cannot be closed");
  if (rename(part_.c_str(), path_.c_str()) == -1) return FailWithError(path_, "cannot be renamed");
  ForgetUnfinished(part_);
  part_.clear();
  return true;
}

bool RecordFile::FinishDurably() {
  if (fsync(fd_) == -1) return FailWithError(path_, "cannot be written");
  if (!Finish()) return false;
  const int directory = open(DirectoryOf(path_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool synced = directory != -1 && fsync(directory) == 0;
  const int error = errno;
  if (directory != -1) close(directory);
  errno = error;
  return synced || FailWithError(path_, "its directory cannot be synced");
}

std::string DirectoryOf(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace psltool
