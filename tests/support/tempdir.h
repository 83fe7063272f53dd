// A directory that exists as long as the object, and shorthands for the files in it.
#pragma once

#include <stdlib.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

class TempDir {
 public:
  TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "qelXXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp " + pattern);
    root_ = pattern;
  }
  ~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // Path of the directory without a final "/", or of `name` in it.
  std::string Path() const { return root_; }
  std::string Path(const std::string& name) const { return root_ + "/" + name; }

  void MakeDirectory(const std::string& name) const {
    std::filesystem::create_directories(Path(name));
  }

  void Write(const std::string& name, std::string_view bytes = "") const {
    std::ofstream file(Path(name), std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush()) throw std::runtime_error("cannot write " + Path(name));
  }

  std::string Read(const std::string& name) const { return ReadFile(Path(name)); }
  bool Exists(const std::string& name) const {
    return std::filesystem::exists(std::filesystem::symlink_status(Path(name)));
  }

  // Names in the directory or in a subdirectory of it, sorted.
  std::vector<std::string> Names(const std::string& subdirectory = "") const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(Path(subdirectory))) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  // Content of any file; empty when it does not exist.
  static std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string root_;
};
