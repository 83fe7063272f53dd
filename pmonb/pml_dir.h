// An open directory listing that closes itself, or is closed with the result looked at.
#pragma once

#include <dirent.h>

#include <cerrno>

#include "pmonb/pml_system.h"

class PmlDirectory {
 public:
  explicit PmlDirectory(const char* path) : directory_(pml_system.open_dir(path)) {}
  ~PmlDirectory() { Close(); }
  PmlDirectory(const PmlDirectory&) = delete;
  PmlDirectory& operator=(const PmlDirectory&) = delete;

  bool is_open() const { return directory_ != nullptr; }

  // Name of the next entry, null at the end of the listing, and where it breaks off.
  const char* Next() {
    errno = 0;
    const dirent* entry = pml_system.read_dir(directory_);
    if (entry != nullptr) return entry->d_name;
    error_ = errno;
    return nullptr;
  }

  // The error at which the listing broke off; 0 when it came to its end.
  int error() const { return error_; }

  // False when closing failed.
  bool Close() {
    if (directory_ == nullptr) return true;
    DIR* const closing = directory_;
    directory_ = nullptr;
    return pml_system.close_dir(closing) == 0;
  }

 private:
  DIR* directory_;
  int error_ = 0;
};
