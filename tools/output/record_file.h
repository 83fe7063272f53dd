// A file that is written piece by piece beside its final name and renamed when it is complete, so
// that nobody meets half a file. The name beside is this process's own: two runs with the same
// output never write into each other's file, and the one that ends last stands.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace psltool {

class RecordFile {
 public:
  explicit RecordFile(std::string path) : path_(std::move(path)) {}
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
  std::string part_;  // empty: there is no unfinished file
  int fd_ = -1;
  uint64_t size_ = 0;
};

// Makes a new file beside `path` with a name of this process's own ("PATH.1234.part"), which goes
// to `part` and is remembered as unfinished. Nothing that stands there is opened or followed:
// another name is taken then. The file's descriptor, or -1 with errno.
int CreatePart(const std::string& path, std::string& part);

// The directory part of a path, "." when it has none.
std::string DirectoryOf(const std::string& path);

}  // namespace psltool
