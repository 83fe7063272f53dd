// A file that is written piece by piece beside its final name and renamed when it is complete, so
// that nobody meets half a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

class RecordFile {
 public:
  explicit RecordFile(std::string path) : path_(std::move(path)), part_(path_ + ".part") {}
  ~RecordFile();
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  // Each returns false after a report that names the file.
  bool Create();
  bool Write(const uint8_t* record, size_t size);
  bool Finish();
  // The same, and after it neither content nor name can be lost in a power failure.
  bool FinishDurably();

  const std::string& path() const { return path_; }
  uint64_t size() const { return size_; }

 private:
  std::string path_;
  std::string part_;
  int fd_ = -1;
  bool left_ = false;  // the part file exists
  uint64_t size_ = 0;
};

// The directory part of a path, "." when it has none.
std::string DirectoryOf(const std::string& path);
