// Removal of expired files: see the header. A file goes only when its whole day (PSL files, hour
// archives) or its whole month (day archives) lies before the limit of its class.
#include "archiver/removal.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/names.h"
#include "engine/unarchived.h"
#include "logdir/autotarget.h"
#include "logdir/limits.h"
#include "logdir/listing.h"
#include "logdir/timespan.h"
#include "logdir/unread.h"
#include "platform/directory.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "report/trace.h"

namespace {

constexpr uint32_t kDetUnlink = 0x03080001;
constexpr uint32_t kDetSync = 0x03080002;

// Where a file was listed: a name with both extensions does not tell.
struct Listed {
  const char* directory;
  std::string name;
};
std::vector<Listed> delete_list;
bool left_unread = false;  // a file could not be looked at, and this is where it was told

bool Contains(std::string_view name, std::string_view part) {
  return name.find(part) != std::string_view::npos;
}

// The digits of the date that tells when a file of the level (1 hour, 2 day archive) expires.
size_t DigitsOf(int level) { return level == 2 ? kMonthDigits : kDayDigits; }

// True when the last second of `date`'s day converts and lies before `limit`.
bool DayEndsBefore(struct tm date, int64_t limit) {
  date.tm_hour = 23;
  date.tm_min = 59;
  date.tm_sec = 59;
  int64_t end = 0;
  // Not reached: a year of four digits converts.
  return ToTime(&date, &end) && end < limit;
}

// `name` begins with six digits.
bool DayArchiveExpired(const char* name, int64_t day_limit) {
  struct tm limit_month = LocalTime(day_limit);
  limit_month.tm_mday = 1;
  limit_month.tm_hour = 0;
  limit_month.tm_min = 0;
  limit_month.tm_sec = 0;
  limit_month.tm_isdst = -1;
  int64_t limit = 0;
  // Not reached: the month of a moment converts.
  if (!ToTime(&limit_month, &limit)) return false;
  return DayEndsBefore(NameDate(FirstDayOf(name).c_str(), -1), limit);
}

RemovalVerdict ExpiredOrNot(bool expired) {
  return expired ? RemovalVerdict::kExpired : RemovalVerdict::kInTime;
}

// What looking into a sound file tells.
AutoProbe Sound(int level) {
  return {[level](const char*) { return level; }, [](const char*) { return 0; }};
}

// The moment from which on the rules remove what is judged, sought behind the date that `digits`
// begin with. The rules say of a moment whether it is one of those, so the first is found by
// halving.
int64_t FirstRemoval(const char* digits, const std::function<RemovalVerdict(int64_t)>& judge) {
  constexpr int64_t kLongest = int64_t{800} * 86400;  // two years, and what is left of a month
  tm date = NameDate(digits, -1);
  int64_t early = 0;
  // Not reached: a year of four digits converts.
  if (!ToTime(&date, &early)) return 0;
  int64_t late = early + kLongest;
  if (!IsRemoved(judge(late))) return 0;
  while (late - early > 1) {
    const int64_t middle = early + (late - early) / 2;
    (IsRemoved(judge(middle)) ? late : early) = middle;
  }
  return late;
}

// What a directory of the archives holds. The subdirectory may be missing.
Listing ListForRemoval(const char* directory, bool may_be_missing) {
  Listing listing = ListDirectory(directory);
  const bool missing = listing.error == ENOENT || listing.error == ENOTDIR;
  if (listing.call != nullptr && missing && may_be_missing) return listing;
  if (listing.call != nullptr) EndUnlisted(directory, listing);
  for (const std::string& name : listing.unread) {
    left_unread = ReportUnread(directory + name) || left_unread;
  }
  return listing;
}

void Judge(const char* directory, const std::string& name, RemovalVerdict verdict) {
  if (verdict == RemovalVerdict::kUnreadable) {
    left_unread = ReportUnread(AutoFilePath(name)) || left_unread;
  } else if (verdict == RemovalVerdict::kUnarchived) {
    TraceLine(__LINE__, "left %s: this run did not make its archive", name.c_str());
  } else if (IsRemoved(verdict)) {
    delete_list.push_back({directory, name});
  }
}

}  // namespace

RemovalVerdict JudgeLogRemoval(const char* name, int isdst, const AutoProbe& probe,
                               const Limits& limits) {
  const std::optional<int64_t>& limit = limits.before[kClassPsl];
  if (!limit) return RemovalVerdict::kNoRetention;
  if (!Contains(name, kLogExtension) || !BeginsWithDigits(name, kDayDigits)) {
    return RemovalVerdict::kOtherFile;
  }
  const bool expired = DayEndsBefore(NameDate(name, isdst), *limit);
  const int version = probe.version(name);
  if (version == kUnreadableFile && expired) return RemovalVerdict::kUnreadable;
  if (version == -1) return RemovalVerdict::kRefused;
  return ExpiredOrNot(expired);
}

RemovalVerdict JudgeArchiveRemoval(const char* name, const AutoProbe& probe, const Limits& limits) {
  if (IsTemporaryName(name)) return RemovalVerdict::kTemporary;
  if (!limits.before[kClassHour] && !limits.before[kClassDay]) return RemovalVerdict::kNoRetention;
  if (!Contains(name, kArchiveExtension)) return RemovalVerdict::kOtherFile;
  const int level = probe.level(name);
  if (level == kUnreadableFile) return RemovalVerdict::kUnreadable;
  if (level == -1) return RemovalVerdict::kRefused;
  if (level == 0) return RemovalVerdict::kOtherFile;
  const std::optional<int64_t>& limit = limits.before[level == 2 ? kClassDay : kClassHour];
  if (!limit) return RemovalVerdict::kNoRetention;
  const int version = probe.version(name);
  if (version == kUnreadableFile) return RemovalVerdict::kUnreadable;
  if (version != 0) return RemovalVerdict::kRefused;
  if (!BeginsWithDigits(name, DigitsOf(level))) return RemovalVerdict::kOtherFile;
  return ExpiredOrNot(level == 2 ? DayArchiveExpired(name, *limit)
                                 : DayEndsBefore(NameDate(name, -1), *limit));
}

int64_t LogExpiry(const char* name, const RetentionCodes& codes) {
  if (!BeginsWithDigits(name, kDayDigits)) return 0;
  return FirstRemoval(name, [&](int64_t time) {
    return JudgeLogRemoval(name, LocalTime(time).tm_isdst, Sound(0), LimitsAt(codes, time));
  });
}

int64_t ArchiveExpiry(const char* name, int level, const RetentionCodes& codes) {
  if (!BeginsWithDigits(name, DigitsOf(level))) return 0;
  const std::string first_day = level == 2 ? FirstDayOf(name) : name;
  return FirstRemoval(first_day.c_str(), [&](int64_t time) {
    return JudgeArchiveRemoval(name, Sound(level), LimitsAt(codes, time));
  });
}

RemovalVerdict LeaveUnarchived(const char* name, RemovalVerdict verdict,
                               const UnarchivedPeriods& noted) {
  const bool left = verdict == RemovalVerdict::kExpired && noted.Hold(name);
  return left ? RemovalVerdict::kUnarchived : verdict;
}

int ArcDelete() {
  const int32_t count = CreatDelList();
  // An earlier run that was killed, or whose sync failed, left names of archives that a power
  // failure takes away; what they were made of must not go before.
  if (count > 0) {
    const char* failed = SyncDirectory(ArchiveSubdirectory());
    if (failed != nullptr && errno != ENOENT) {
      LogMessage(113, nullptr, failed, errno, kDetSync);
      FreeDelList();
      return -1;
    }
  }
  const int result = DelFile(count);
  FreeDelList();
  return left_unread ? -1 : result;
}

int32_t CreatDelList() {
  FreeDelList();
  left_unread = false;
  const int isdst = LocalTime(CurrentTime()).tm_isdst;
  const Limits limits = RunLimits();
  if (limits.before[kClassPsl]) {
    for (const std::string& name : ListForRemoval(arcdelinfo.arcdir, false).names) {
      const RemovalVerdict verdict = JudgeLogRemoval(name.c_str(), isdst, FileProbe(), limits);
      Judge(arcdelinfo.arcdir, name, LeaveUnarchived(name.c_str(), verdict, unarchived));
    }
  }
  const Listing archives = ListForRemoval(ArchiveSubdirectory(), true);
  for (const std::string& name : archives.names) {
    const RemovalVerdict verdict = JudgeArchiveRemoval(name.c_str(), FileProbe(), limits);
    Judge(ArchiveSubdirectory(), name, LeaveUnarchived(name.c_str(), verdict, unarchived));
  }
  // An archive that is being made has a longer name than its inputs.
  for (const std::string& name : archives.oversized) {
    if (IsTemporaryName(name)) delete_list.push_back({ArchiveSubdirectory(), name});
  }
  return static_cast<int32_t>(delete_list.size());
}

int DelFile(int32_t count) {
  int32_t removed = 0;
  int32_t failed = 0;
  int last_error = 0;
  for (int32_t i = 0; i < count; ++i) {
    const char* name = DelListName(i);
    const std::string path = delete_list[static_cast<size_t>(i)].directory + std::string(name);
    if (unlink(path.c_str()) == 0) {
      ++removed;
      TraceLine(__LINE__, "del %s", name);
    } else {
      last_error = errno;
      ++failed;
    }
  }
  if (failed == 0) return 0;
  LogMessage(113, nullptr, "unlink", last_error, kDetUnlink);
  TraceLine(__LINE__, "del done(%d) fail(%d)", removed, failed);
  return -1;
}

const char* DelListName(int32_t i) { return delete_list[static_cast<size_t>(i)].name.c_str(); }

void FreeDelList() { delete_list.clear(); }
