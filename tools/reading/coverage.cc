// Covered time: see the header.
#include "tools/reading/coverage.h"

#include <fmt/format.h>

#include <algorithm>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/output/report.h"
#include "tools/reading/file_summary.h"

namespace psltool {

namespace {

bool Touches(const CoveredTime& early, const CoveredTime& late) {
  return late.first <= early.last || late.first == early.last + 1;
}

// Adds a piece of time; those that follow each other stay one.
void Add(std::vector<CoveredTime>& covered, const CoveredTime& time) {
  if (covered.empty() || time.first < covered.back().first || !Touches(covered.back(), time)) {
    covered.push_back(time);
  } else {
    covered.back().last = std::max(covered.back().last, time.last);
  }
}

// Puts pieces of time into order and joins those that touch.
void Join(std::vector<CoveredTime>& covered) {
  std::sort(covered.begin(), covered.end(),
            [](const CoveredTime& a, const CoveredTime& b) { return a.first < b.first; });
  size_t last = 0;
  for (const CoveredTime& each : covered) {
    if (!Touches(covered[last], each)) covered[++last] = each;
    covered[last].last = std::max(covered[last].last, each.last);
  }
  covered.resize(last + 1);
}

}  // namespace

std::string ArrayOrDash(const std::string& path, char level) {
  const std::string array = PartsOfName(path, level).array;
  return array.empty() ? "-" : array;
}

bool Cover(const std::string& path, const CoverChoice& choice, Progress& progress,
           const std::function<void(const RecordPeriod&)>& note, FileCover& cover) {
  PslReader reader(path, PslReader::Reports::kKept);
  if (!reader.Open()) return false;
  FilePeriods periods(path, choice.zone);
  cover.path = path;
  cover.header = reader.header();
  cover.array = ArrayOrDash(path, cover.header.level);
  while (reader.NextHeader()) {
    progress.Show(path, reader.position(), reader.size());
    if (reader.tag() != "STA") continue;
    const RecordPeriod period =
        periods.Of(reader.position(), Load32(reader.record().data() + kAtTime));
    if (periods.unreadable()) return false;
    if (!LiesIn(period, choice.from, choice.to, choice.zone)) continue;
    note(period);
    ++cover.records;
    Add(cover.covered, CoverOf(period));
  }
  if (!cover.covered.empty()) Join(cover.covered);
  return true;
}

bool Meet(const FileCover& a, const FileCover& b) {
  if (a.covered.empty() || b.covered.empty()) return false;
  const auto follows = [](const FileCover& early, const FileCover& late) {
    const uint32_t end = early.covered.back().last;
    return end == late.covered.front().first && early.covered.front().first < end &&
           late.covered.back().last > end;
  };
  const bool in_a_row = follows(a, b) || follows(b, a);
  auto at = a.covered.begin();
  auto other = b.covered.begin();
  while (at != a.covered.end() && other != b.covered.end()) {
    const uint32_t first = std::max(at->first, other->first);
    const uint32_t last = std::min(at->last, other->last);
    if (first < last || (first == last && !in_a_row)) return true;
    at->last < other->last ? ++at : ++other;
  }
  return false;
}

bool FailTwice(const FileCover& file, const FileCover& other, Progress& progress) {
  progress.Clear();
  return Fail(file.path, fmt::format("holds the same time of array {} as {}: its intervals would "
                                     "count twice; name one of them, or use --from and --to",
                                     file.array, other.path));
}

bool Tells(const FileCover& cover, const CoveredTime& time) {
  const auto at =
      std::lower_bound(cover.covered.begin(), cover.covered.end(), time.first,
                       [](const CoveredTime& each, uint32_t first) { return each.last < first; });
  for (auto each = at; each != cover.covered.end() && each->first <= time.last; ++each) {
    const uint32_t first = std::max(each->first, time.first);
    const uint32_t last = std::min(each->last, time.last);
    if (first < last) return true;
    // One second in common: that of a file's only record, unless the other begins with it.
    if (each->first == each->last && (first > time.first || time.first == time.last)) return true;
  }
  return false;
}

}  // namespace psltool
