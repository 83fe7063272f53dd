// An open directory listing that closes itself, or is closed with the result looked at.
#pragma once

#include <dirent.h>

#include "pmonb/pml_system.h"

class PmlDirectory {
 public:
  explicit PmlDirectory(const char* path) : directory_(pml_system.open_dir(path)) {}
  ~PmlDirectory() { Close(); }
  PmlDirectory(const PmlDirectory&) = delete;
  PmlDirectory& operator=(const PmlDirectory&) = delete;

  bool is_open() const { return directory_ != nullptr; }

  // Name of the next entry, null at the end of the listing.
  const char* Next() {
    const dirent* entry = readdir(directory_);
    return entry != nullptr ? entry->d_name : nullptr;
  }

  // False when closing failed.
  bool Close() {
    if (directory_ == nullptr) return true;
    DIR* const closing = directory_;
    directory_ = nullptr;
    return pml_system.close_dir(closing) == 0;
  }

 private:
  DIR* directory_;
};
