// The removals of a plan, and when what stays will be removed.
#include <fmt/format.h>

#include <algorithm>

#include "archiver/removal.h"
#include "logdir/autotarget.h"
#include "logdir/limits.h"
#include "logdir/listing.h"
#include "logdir/timespan.h"
#include "platform/places.h"
#include "report/runinfo.h"
#include "tools/reading/time_text.h"
#include "tools/running/plan.h"

namespace psltool {

namespace {

constexpr const char* kMarkers[] = {kUpdateMarker, kExecutionMarker};

int ClassOf(const std::string& path, const AutoProbe& probe) {
  if (!LiesWithArchives(path)) return kClassPsl;
  return probe.level(NameInDirectory(path).c_str()) == 2 ? kClassDay : kClassHour;
}

RemovalVerdict Judge(const std::string& path, const AutoProbe& probe) {
  const std::string name = NameInDirectory(path);
  const Limits limits = RunLimits();
  if (LiesWithArchives(path)) return JudgeArchiveRemoval(name.c_str(), probe, limits);
  return JudgeLogRemoval(name.c_str(), LocalTime(limits.now).tm_isdst, probe, limits);
}

int64_t ExpiryOf(const std::string& path, const AutoProbe& probe) {
  const std::string name = NameInDirectory(path);
  const RetentionCodes codes = RunRetention();
  return LiesWithArchives(path) ? ArchiveExpiry(name.c_str(), probe.level(name.c_str()), codes)
                                : LogExpiry(name.c_str(), codes);
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
      return {path, "refused",
              fmt::format("never removed: empty, or of a revision below 0x{:02X}",
                          kLowestAutoRevision)};
    case RemovalVerdict::kUnreadable:
      return {path, "unreadable", "stays: " + UnreadText(NameInDirectory(path))};
    case RemovalVerdict::kUnarchived:
      return {path, "unarchived", "expired, but stays: its archive is left to a later run"};
    case RemovalVerdict::kOtherFile:
      break;
  }
  return {path, "other-file", "never removed: no log or archive with a date by its name"};
}

}  // namespace

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
    const RemovalVerdict verdict =
        LeaveUnarchived(NameInDirectory(path).c_str(), Judge(path, probe), view.unarchived);
    (IsRemoved(verdict) ? plan.removed : plan.kept).push_back(Describe(path, verdict, probe));
  }
  for (const PlanFile& file : DescribeOversized("", listing.oversized)) plan.kept.push_back(file);
  for (const PlanFile& file : DescribeOversized(kArchivePart, view.oversized)) {
    const bool temporary = JudgeArchiveRemoval(NameInDirectory(file.path).c_str(), probe,
                                               RunLimits()) == RemovalVerdict::kTemporary;
    temporary ? plan.removed.push_back(Describe(file.path, RemovalVerdict::kTemporary, probe))
              : plan.kept.push_back(file);
  }
  for (const char* marker : kMarkers) {
    if (std::find(names.begin(), names.end(), marker) != names.end()) {
      plan.removed.push_back({marker, "marker", "a marker of the monitor, always removed"});
    }
  }
}

}  // namespace psltool
