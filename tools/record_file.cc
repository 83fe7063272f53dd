// Files under construction: see the header.
#include "tools/record_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tools/report.h"

namespace {

bool FailWithError(const std::string& path, const char* what) {
  return Fail(path, fmt::format("{}: {}", what, std::strerror(errno)));
}

}  // namespace

RecordFile::~RecordFile() {
  if (fd_ != -1) close(fd_);
  if (left_) unlink(part_.c_str());
}

bool RecordFile::Create() {
  fd_ = open(part_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd_ == -1) return FailWithError(path_, "cannot be created");
  left_ = true;
  return true;
}

bool RecordFile::Write(const uint8_t* record, size_t size) {
  const ssize_t written = write(fd_, record, size);
  if (written == -1) return FailWithError(path_, "cannot be written");
  if (static_cast<size_t>(written) != size) {
    errno = ENOSPC;
    return FailWithError(path_, "cannot be written");
  }
  size_ += size;
  return true;
}

bool RecordFile::Finish() {
  const int fd = fd_;
  fd_ = -1;
  if (close(fd) == -1) return FailWithError(path_, "cannot be closed");
  if (rename(part_.c_str(), path_.c_str()) == -1) return FailWithError(path_, "cannot be renamed");
  left_ = false;
  return true;
}
