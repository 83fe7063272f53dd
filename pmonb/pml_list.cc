// The second pass of the pruning: the table of files with their dates, and of each directory its
// oldest and newest. It takes in no more files than the first pass counted; what appeared since
// then is left to the next run.
#include <cerrno>
#include <string_view>

#include "pmonb/pml_detail.h"
#include "pmonb/pml_dir.h"
#include "pmonb/pml_system.h"
#include "pmonb/pml_work.h"

namespace {

// Decimal value of the `count` digits that `text` begins with.
uint32_t Number(std::string_view text, size_t count) {
  uint32_t value = 0;
  for (const char c : text.substr(0, count)) value = value * 10 + static_cast<uint32_t>(c - '0');
  return value;
}

// What the three-digit number behind the mark at `mark` gives to the order key. Of the three digits
// only the last two count: the monitor numbers its logs modulo 100.
uint32_t OrderPart(std::string_view text, size_t mark) {
  return 999 - Number(text.substr(mark + 1).substr(1), 2);
}

// A name of the right shape has both marks (pml_name.cc).
uint32_t OrderKey(std::string_view name) {
  const std::string_view text = name.substr(8);
  return OrderPart(text, text.find('#')) * 1000 + OrderPart(text, text.rfind('_'));
}

void NoteOldestAndNewest(PmlDirEntry& dir, const PmlFileEntry& file, uint32_t index) {
  if (file.date < dir.oldest_date ||
      (file.date == dir.oldest_date && file.order > dir.oldest_order)) {
    dir.oldest_index = index;
    dir.oldest_date = file.date;
    dir.oldest_order = file.order;
  }
  if (file.date > dir.newest_date ||
      (file.date == dir.newest_date && file.order < dir.newest_order)) {
    dir.newest_index = index;
    dir.newest_date = file.date;
    dir.newest_order = file.order;
  }
}

// Takes one file into the tables.
bool AddFile(PmlWork& work, PmlDirEntry& dir, uint32_t number, const std::string& path,
             const char* name, const struct stat& status) {
  const uint32_t index = work.listed++;
  PmlFileEntry& file = work.files[index];
  dir.files += 1;
  file.valid = 1;
  file.size = static_cast<uint32_t>(status.st_size);
  file.size_hi = static_cast<uint32_t>(static_cast<uint64_t>(status.st_size) >> 32);
  file.dir_no = static_cast<uint16_t>(number);
  file.path = work.paths.emplace_back(path).c_str();
  const int shape = pml_system.check_name(name);
  if (shape == -2) return PmlFailure(work, kPmlDetNullName, "program error", 0);
  if (shape == -1) {
    // Logs with a foreign name would never get old: they go with every action.
    file.valid = 0;
    file.selected = 1;
    return true;
  }
  file.date = Number(std::string_view(name).substr(2), 6);
  file.order = OrderKey(name);
  NoteOldestAndNewest(dir, file, index);
  return true;
}

// Empty when the directory must not be listed: without its final "/" the base directory would run
// together with the number into the name of a directory beside it.
std::string ListedPath(const PmlWork& work, uint32_t number) {
  if (work.mode->staging) return work.staging;
  return work.base.ends_with('/') ? SubdirectoryPath(work, number) : "";
}

bool ListDirectory(PmlWork& work, PmlDirEntry& dir, uint32_t number) {
  const std::string path = ListedPath(work, number);
  PmlDirectory directory(path.c_str());
  if (!directory.is_open()) {
    // What is gone holds no logs. Of what cannot be read nobody knows: its logs may be the oldest,
    // and in their place newer ones of other directories would go.
    if (errno == ENOENT) return true;
    return PmlFailure(work, kPmlDetListOpen, "opendir", errno);
  }
  dir.opened = 1;
  while (work.listed < work.param->file_count) {
    const char* name = directory.Next();
    if (name == nullptr) break;
    if (!IsPmlName(name)) continue;
    const std::string file = path + "/" + name;
    struct stat status {};
    if (pml_system.status(file.c_str(), &status) != 0) {
      return PmlFailure(work, kPmlDetListStat, "stat", errno);
    }
    if (S_ISDIR(status.st_mode)) continue;
    if (!AddFile(work, dir, number, file, name, status)) return false;
  }
  if (directory.error() != 0) {
    return PmlFailure(work, kPmlDetListClose, "readdir", directory.error());
  }
  if (!directory.Close()) return PmlFailure(work, kPmlDetListClose, "closedir", errno);
  return true;
}

template <typename T>
bool Allocate(PmlWork& work, PmlTable<T>& table, size_t count, uint32_t detail) {
  table.reset(static_cast<T*>(pml_system.allocate(count, sizeof(T))));
  if (table == nullptr) return PmlFailure(work, detail, "calloc", errno);
  return true;
}

}  // namespace

bool ListFiles(PmlWork& work) {
  const size_t room = static_cast<size_t>(work.param->file_count) + work.dir_count;
  if (!Allocate(work, work.files, room, kPmlDetFileTable) ||
      !Allocate(work, work.dirs, work.dir_count, kPmlDetDirTable)) {
    return false;
  }
  for (uint32_t i = 0; i < work.dir_count; ++i) {
    PmlDirEntry& dir = work.dirs[i];
    dir.oldest_date = 0xFFFFFFFF;
    dir.newest_order = 0xFFFFFFFF;
    if (!ListDirectory(work, dir, work.first_dir + i)) return false;
  }
  return true;
}
