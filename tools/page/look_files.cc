// The first look at files: see the header.
#include "tools/page/look_files.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <tuple>

#include "tools/reading/coverage.h"

namespace psltool {

namespace {

struct Looked {
  FileCover cover;
  std::vector<RecordPeriod> periods;
};

bool IsToldFiner(const std::vector<Looked>& files, const FileCover& own, const RecordPeriod& time) {
  return std::any_of(files.begin(), files.end(), [&](const Looked& other) {
    return Coarseness(other.cover.header.level) < Coarseness(own.header.level) &&
           Tells(other.cover, CoverOf(time));
  });
}

// A record that the page takes: its interval, its file and its number in it.
struct Taken {
  PageInterval interval;
  size_t file;
  size_t record;
};

// The first record of a log begins with its hour, wherever the one before it ended; one that is
// stamped with the hour itself begins where the log before it ended, if that was just before.
uint32_t BeginOf(const PageInterval& interval, uint32_t before) {
  constexpr uint32_t kHour = 3600;
  const bool stamped_with_hour = interval.level == 'L' && interval.begin == interval.end;
  if (stamped_with_hour && interval.end - before <= kHour) return before;
  return std::min(std::max(interval.begin, before), interval.end);
}

void TakeRecords(const std::vector<Looked>& files, PageArray& array, PageData& page) {
  std::vector<Taken> taken;
  for (size_t i = 0; i < files.size(); ++i) {
    PageFile& file = array.files[i];
    file.intervals.assign(file.records, PageFile::kPassedOver);
    for (size_t k = 0; k < files[i].periods.size(); ++k) {
      const RecordPeriod& period = files[i].periods[k];
      if (IsToldFiner(files, files[i].cover, period)) continue;
      taken.push_back({{period.stamp, period.begin, period.end, period.level}, i, k});
      ++file.taken;
    }
    if (file.taken != file.records) {
      page.notes.push_back(fmt::format("{}: {} of {} records, whose time finer files tell",
                                       file.path, file.records - file.taken, file.records));
    }
  }
  std::stable_sort(taken.begin(), taken.end(), [](const Taken& a, const Taken& b) {
    return std::tie(a.interval.end, a.interval.begin) < std::tie(b.interval.end, b.interval.begin);
  });
  for (Taken& each : taken) {
    if (!array.intervals.empty()) {
      each.interval.begin = BeginOf(each.interval, array.intervals.back().end);
    }
    array.files[each.file].intervals[each.record] = static_cast<uint32_t>(array.intervals.size());
    array.intervals.push_back(each.interval);
  }
}

}  // namespace

bool LookAtFiles(const std::vector<std::string>& paths, const DumpRequest& request,
                 Progress& progress, PageData& page) {
  std::map<std::string, std::vector<Looked>> arrays;
  for (const std::string& path : paths) {
    Looked looked;
    looked.cover.path = path;
    const bool open = Cover(
        path, {request.from, request.to, request.zone}, progress,
        [&](const RecordPeriod& period) { looked.periods.push_back(period); }, looked.cover);
    progress.Clear();
    if (!open) looked.cover.array = ArrayOrDash(path, 'L');
    std::vector<Looked>& others = arrays[looked.cover.array];
    for (const Looked& other : others) {
      if (other.cover.header.level != looked.cover.header.level) continue;
      if (Meet(looked.cover, other.cover)) return FailTwice(looked.cover, other.cover, progress);
    }
    PageArray& array = page.arrays[looked.cover.array];
    array.name = looked.cover.array;
    PageFile file;
    file.path = path;
    file.level = open ? looked.cover.header.level : '?';
    file.revision = looked.cover.header.revision;
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    file.size = error ? 0 : size;
    file.records = looked.periods.size();
    array.files.push_back(std::move(file));
    others.push_back(std::move(looked));
  }
  for (const auto& [name, files] : arrays) TakeRecords(files, page.arrays[name], page);
  return true;
}

}  // namespace psltool
