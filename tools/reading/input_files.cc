// Files of a command line: see the header.
#include "tools/reading/input_files.h"

#include <algorithm>
#include <filesystem>

#include "engine/names.h"
#include "tools/output/report.h"

namespace psltool {

namespace {

namespace fs = std::filesystem;

bool IsHidden(const std::string& name) { return name.starts_with("."); }

// Adds what a directory holds. False: reported.
bool Search(const std::string& directory, std::vector<std::string>& files) {
  std::error_code error;
  fs::recursive_directory_iterator entry(directory, error);
  const size_t first = files.size();
  for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    std::error_code gone;  // removed in the meantime: what opens it tells
    if (entry->is_directory(gone)) {
      if (IsHidden(name)) entry.disable_recursion_pending();
    } else if (IsFileOfDirectory(name)) {
      files.push_back(entry->path().string());
    }
  }
  std::sort(files.begin() + static_cast<std::ptrdiff_t>(first), files.end());
  return !error || Fail(directory, "cannot be read: " + error.message());
}

}  // namespace

bool IsFileOfDirectory(const std::string& name) {
  const bool known = IsLogName(name) || IsArchiveName(name);
  return known && !IsHidden(name) && !IsTemporaryName(name);
}

bool CollectFiles(const std::vector<std::string>& paths, std::vector<std::string>& files) {
  bool readable = true;
  std::error_code error;
  for (const std::string& path : paths) {
    if (fs::is_directory(path, error)) {
      readable = Search(path, files) && readable;
    } else {
      files.push_back(path);
    }
  }
  if (!files.empty() || !readable) return readable;
  // Mostly a mistyped path; to find nothing wrong, or nothing at all, would be no comfort.
  for (const std::string& path : paths) {
    Fail(path, "holds no log (.psl) and no archive (.psa)");
  }
  return false;
}

std::vector<std::string> DirectoriesWith(const std::vector<std::string>& paths,
                                         const std::string& name) {
  std::vector<std::string> directories;
  std::error_code error;
  const auto look = [&](const fs::path& directory) {
    std::error_code none;
    if (fs::exists(directory / name, none)) directories.push_back(directory.string());
  };
  for (const std::string& path : paths) {
    if (!fs::is_directory(path, error)) continue;
    look(path);
    fs::recursive_directory_iterator entry(path, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
      if (!entry->is_directory(error)) continue;
      if (IsHidden(entry->path().filename().string())) {
        entry.disable_recursion_pending();
      } else {
        look(entry->path());
      }
    }
  }
  std::sort(directories.begin(), directories.end());
  return directories;
}

}  // namespace psltool
