// The removals of a plan, and when what stays will be removed.
#include <fmt/format.h>

#include <algorithm>
#include <cstring>

#include "archiver/removal.h"
#include "archiver/runinfo.h"
#include "logdir/autotarget.h"
#include "logdir/listing.h"
#include "logdir/timespan.h"
#include "tools/plan.h"
#include "tools/time_text.h"

namespace {

constexpr const char* kMarkers[] = {"Qelprf.A", "Qelprf.B"};
constexpr char kArchivePart[] = "archive/";

bool IsArchive(const std::string& path) { return path.starts_with(kArchivePart); }

std::string NameOf(const std::string& path) {
  return IsArchive(path) ? path.substr(strlen(kArchivePart)) : path;
}

int ClassOf(const std::string& path, const AutoProbe& probe) {
  if (!IsArchive(path)) return kClassPsl;
  return probe.level(NameOf(path).c_str()) == 2 ? kClassDay : kClassHour;
}

RemovalVerdict Judge(const std::string& path, const AutoProbe& probe) {
  const std::string name = NameOf(path);
  if (IsArchive(path)) return JudgeArchiveRemoval(name.c_str(), probe);
  return JudgeLogRemoval(name.c_str(), LocalTime(CurrentTime()).tm_isdst, probe);
}

std::string Minute(int64_t time) {
  return TimeText(static_cast<uint32_t>(time), Zone::kLocal).substr(0, 16);
}

PlanFile Describe(const std::string& path, RemovalVerdict verdict, const AutoProbe& probe) {
  switch (verdict) {
    case RemovalVerdict::kTemporary:
      return {path, "temporary", "left unfinished, and always removed"};
    case RemovalVerdict::kExpired:
    case RemovalVerdict::kInTime: {
      const bool expired = verdict == RemovalVerdict::kExpired;
      return {path, expired ? "expired" : "in-time",
              fmt::format("{} {}, limit {}", expired ? "expired" : "expires",
                          Minute(ExpiryOf(path, probe)), KeepText(ClassOf(path, probe)))};
    }
    case RemovalVerdict::kNoRetention:
      return {path, "no-limit", "kept for ever"};
    case RemovalVerdict::kRefused:
      return {path, "refused", "never removed: empty, or of a revision below 0x17"};
    case RemovalVerdict::kUnreadable:
      return {path, "unreadable", "stays: " + UnreadText(NameOf(path))};
    case RemovalVerdict::kUnarchived:
      return {path, "unarchived", "expired, but stays: its archive is left to a later run"};
    case RemovalVerdict::kOtherFile:
      break;
  }
  return {path, "other-file", "never removed: no log or archive with a date by its name"};
}

// The rules as they would judge at another time.
class AtOtherTimes {
 public:
  AtOtherTimes() : saved_(arcdelinfo), clock_(clock_hook) {
    clock_hook = [] { return time_; };
  }
  ~AtOtherTimes() {
    arcdelinfo = saved_;
    clock_hook = clock_;
  }
  AtOtherTimes(const AtOtherTimes&) = delete;
  AtOtherTimes& operator=(const AtOtherTimes&) = delete;

  static bool Expired(const std::string& path, const AutoProbe& probe, int64_t time) {
    time_ = time;
    GetTimeSpan();
    return IsRemoved(Judge(path, probe));
  }

 private:
  static inline int64_t time_ = 0;
  ArcDelInfo saved_;
  int64_t (*clock_)();
};

}  // namespace

// The rules only say whether a file is expired; the first moment is found by halving.
int64_t ExpiryOf(const std::string& path, const AutoProbe& probe) {
  constexpr int64_t kLongest = int64_t{800} * 86400;  // two years, and what is left of a month
  const std::string name = NameOf(path);
  // What the file holds does not change from one question to the next.
  const int level = IsArchive(path) ? probe.level(name.c_str()) : 0;
  const int version = probe.version(name.c_str());
  const AutoProbe known = {[level](const char*) { return level; },
                           [version](const char*) { return version; }};
  std::string digits = name.substr(0, 8);
  if (level == 2) digits.replace(6, 2, "01");
  tm date = NameDate(digits.c_str(), -1);
  int64_t early = 0;
  if (!ToTime(&date, &early)) return 0;
  const AtOtherTimes other;
  int64_t late = early + kLongest;
  if (AtOtherTimes::Expired(path, known, early) || !AtOtherTimes::Expired(path, known, late)) {
    return 0;
  }
  while (late - early > 1) {
    const int64_t middle = early + (late - early) / 2;
    (AtOtherTimes::Expired(path, known, middle) ? late : early) = middle;
  }
  return late;
}

void PlanRemoval(const ArchiveView& view, Plan& plan) {
  const AutoProbe probe = view.Probe();
  const Listing listing = ListDirectory(arcdelinfo.arcdir);
  const std::vector<std::string>& names = listing.names;
  std::vector<std::string> paths;
  for (const std::string& name : names) {
    const bool marker =
        std::find(std::begin(kMarkers), std::end(kMarkers), name) != std::end(kMarkers);
    if (!marker) paths.push_back(name);
  }
  for (const std::string& name : view.Names()) paths.push_back(kArchivePart + name);
  for (const std::string& path : paths) {
    const RemovalVerdict verdict = LeaveUnarchived(NameOf(path).c_str(), Judge(path, probe));
    (IsRemoved(verdict) ? plan.removed : plan.kept).push_back(Describe(path, verdict, probe));
  }
  for (const PlanFile& file : DescribeOversized("", listing.oversized)) plan.kept.push_back(file);
  for (const PlanFile& file : DescribeOversized(kArchivePart, view.oversized)) {
    const bool temporary =
        JudgeArchiveRemoval(NameOf(file.path).c_str(), probe) == RemovalVerdict::kTemporary;
    temporary ? plan.removed.push_back(Describe(file.path, RemovalVerdict::kTemporary, probe))
              : plan.kept.push_back(file);
  }
  for (const char* marker : kMarkers) {
    if (std::find(names.begin(), names.end(), marker) != names.end()) {
      plan.removed.push_back({marker, "marker", "a marker of the monitor, always removed"});
    }
  }
}
