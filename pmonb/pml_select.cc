// Which files of the table go. The oldest is taken from a heap, so that a run over n files costs
// n log n; the choice is the one that a search of the whole table for the next oldest would make.
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "pmonb/pml_detail.h"
#include "pmonb/pml_system.h"
#include "pmonb/pml_work.h"

namespace {

// Threshold of deletion by age that selects every valid file of a directory.
constexpr int64_t kEveryDate = 0xFFFFFFFF;

// Not reached: a valid file that is selected, before candidates are gathered.
bool IsCandidate(const PmlFileEntry& file) { return file.valid != 0 && file.selected == 0; }

double Bytes(const PmlFileEntry& file) {
  return static_cast<double>(file.size_hi) * 4294967296.0 + static_cast<double>(file.size);
}

// The valid files not yet selected, from the oldest on. Equal dates: the higher order key first;
// full ties: the one listed earlier.
class OldestFirst {
 public:
  explicit OldestFirst(PmlFileEntry* files) : files_(files) {}

  bool Gather(PmlWork& work) {
    const size_t room = std::max<size_t>(work.listed, 1);
    heap_.reset(static_cast<uint32_t*>(pml_system.allocate(room, sizeof(uint32_t))));
    if (heap_ == nullptr) return PmlFailure(work, kPmlDetFileTable, "calloc", errno);
    for (uint32_t i = 0; i < work.listed; ++i) {
      if (IsCandidate(files_[i])) heap_[count_++] = i;
    }
    std::make_heap(heap_.get(), heap_.get() + count_, Younger{files_});
    return true;
  }

  // False when none is left.
  bool Next(uint32_t& index) {
    while (count_ > 0) {
      std::pop_heap(heap_.get(), heap_.get() + count_, Younger{files_});
      index = heap_[--count_];
      if (files_[index].selected == 0) return true;
    }
    return false;
  }

 private:
  struct Younger {
    const PmlFileEntry* files;
    bool operator()(uint32_t left, uint32_t right) const {
      const PmlFileEntry& a = files[left];
      const PmlFileEntry& b = files[right];
      if (a.date != b.date) return a.date > b.date;
      if (a.order != b.order) return a.order < b.order;
      return left > right;
    }
  };

  PmlFileEntry* files_;
  PmlTable<uint32_t> heap_;
  size_t count_ = 0;
};

// YY, MM or DD of the newest date's text. The text has no leading zeros, so that for the years 2000
// to 2009 the pieces are cut at other places than meant; thresholds far off are known and accepted.
int DatePiece(std::string_view text, size_t piece) {
  int value = 0;
  for (size_t i = piece * 2; i < std::min(piece * 2 + 2, text.size()); ++i) {
    value = value * 10 + (text[i] - '0');
  }
  return value;
}

// Marks the file at `index` and takes it from the total. False for an entry that is no file: a
// directory without valid files names entry 0 as its oldest, and that may be unused.
bool Take(PmlWork& work, uint32_t index) {
  PmlFileEntry& file = work.files[index];
  if (file.path == nullptr) return false;
  file.selected = 1;
  work.param->total_lo -= file.size;
  return true;
}

// The oldest file of the directory with the lowest date; among equal dates that of the last one.
uint32_t OldestOfAll(const PmlWork& work) {
  uint32_t index = 0;
  uint32_t lowest = 0xFFFFFFFF;
  for (uint32_t i = 0; i < work.dir_count; ++i) {
    if (work.dirs[i].oldest_date > lowest) continue;
    lowest = work.dirs[i].oldest_date;
    index = work.dirs[i].oldest_index;
  }
  return index;
}

}  // namespace

int64_t PmlAgeThreshold(uint32_t newest_date, uint32_t term) {
  char buffer[16];
  snprintf(buffer, sizeof buffer, "%u", newest_date);
  const std::string_view text = buffer;
  const int64_t day = int64_t{DatePiece(text, 2)} - term;
  tm calendar{};
  calendar.tm_year = 100 + DatePiece(text, 0);
  calendar.tm_mon = DatePiece(text, 1) - 1;
  calendar.tm_mday = static_cast<int>(std::max<int64_t>(day, INT_MIN));
  calendar.tm_isdst = -1;
  // -1 is a time too: only a conversion that failed leaves the weekday alone.
  calendar.tm_wday = -1;
  if (pml_system.make_time(&calendar) == -1 && calendar.tm_wday == -1) return kEveryDate;
  return (int64_t{calendar.tm_year} - 100) * 10000 + int64_t{calendar.tm_mon + 1} * 100 +
         calendar.tm_mday;
}

bool SelectForHeadroom(PmlWork& work) {
  PmlDelParam& param = *work.param;
  const double required = work.mode->keeps_margin ? param.margin : 0.0;
  double headroom = Headroom(param);
  OldestFirst candidates(work.files.get());
  if (!candidates.Gather(work)) return false;
  uint32_t next = work.dirs[0].oldest_index;
  bool found = true;
  while (found && headroom < required) {
    if (Take(work, next)) {
      headroom += Bytes(work.files[next]);
      param.file_count -= 1;
    }
    found = candidates.Next(next);
  }
  return true;
}

bool SelectByAge(PmlWork& work) {
  uint32_t index = 0;
  for (uint32_t i = 0; i < work.dir_count; ++i) {
    const PmlDirEntry& dir = work.dirs[i];
    if (dir.files == 0) continue;
    const int64_t threshold = PmlAgeThreshold(dir.newest_date, work.param->term);
    for (const uint32_t end = index + dir.files; index < end; ++index) {
      PmlFileEntry& file = work.files[index];
      if (IsCandidate(file) && file.date <= threshold) file.selected = 1;
    }
  }
  return true;
}

bool SelectOldest(PmlWork& work) {
  const uint32_t wanted = work.param->delete_count;
  OldestFirst candidates(work.files.get());
  if (!candidates.Gather(work)) return false;
  uint32_t next = OldestOfAll(work);
  uint32_t taken = 0;
  bool found = true;
  while (found && taken < wanted) {
    if (Take(work, next)) ++taken;
    found = taken < wanted && candidates.Next(next);
  }
  return true;
}

bool SelectAllButNewest(PmlWork& work) {
  const uint32_t newest = work.dirs[0].newest_index;
  for (uint32_t i = 0; i < work.listed; ++i) {
    if (i != newest) work.files[i].selected = 1;
  }
  return true;
}
