// Removal of expired files: see the header. A file goes only when its whole day (PSL files, hour
// archives) or its whole month (day archives) lies before the limit of its class.
#include "archiver/removal.h"

#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "archiver/messages.h"
#include "archiver/runinfo.h"
#include "archiver/trace.h"
#include "engine/finfo.h"
#include "engine/pmoncommon.h"
#include "logdir/autotarget.h"
#include "logdir/pmonlogdir.h"
#include "logdir/timespan.h"

namespace {

constexpr uint32_t kDetUnlink = 0x03080001;

char* pDelFileList = nullptr;  // slots of kNameSlot characters

bool Contains(const char* name, const char* part) { return strstr(name, part) != nullptr; }

bool HasRetention(int retention_class) { return arcdelinfo.savetm_flg[retention_class] != 0; }

std::vector<std::string> ListNames(const char* directory) {
  SetFileList(directory);
  std::vector<std::string> names(Flist, Flist + Nfile);
  FreeFileList();
  return names;
}

bool Opens(const char* directory) {
  DIR* stream = opendir(directory);
  if (stream == nullptr) return false;
  closedir(stream);
  return true;
}

// True when the last second of `date`'s day converts and lies before `limit`.
bool DayEndsBefore(struct tm date, int64_t limit) {
  date.tm_hour = 23;
  date.tm_min = 59;
  date.tm_sec = 59;
  int64_t end = 0;
  return ToTime(&date, &end) && end < limit;
}

// `name` begins with six digits.
bool DayArchiveExpired(const char* name) {
  struct tm limit_month = LocalTime(arcdelinfo.savetime[kClassDay].limit);
  limit_month.tm_mday = 1;
  limit_month.tm_hour = 0;
  limit_month.tm_min = 0;
  limit_month.tm_sec = 0;
  limit_month.tm_isdst = -1;
  int64_t limit = 0;
  if (!ToTime(&limit_month, &limit)) return false;
  const std::string first_day = std::string(name, 6) + "01";
  return DayEndsBefore(NameDate(first_day.c_str(), -1), limit);
}

// `name` begins with eight digits.
bool HourArchiveExpired(const char* name) {
  return DayEndsBefore(NameDate(name, -1), arcdelinfo.savetime[kClassHour].limit);
}

RemovalVerdict ExpiredOrNot(bool expired) {
  return expired ? RemovalVerdict::kExpired : RemovalVerdict::kInTime;
}

void Append(const std::string& name, int32_t* count) {
  char* slot = pDelFileList + static_cast<size_t>(*count) * kNameSlot;
  memset(slot, 0, kNameSlot);
  name.copy(slot, kNameSlot - 1);
  ++*count;
}

}  // namespace

RemovalVerdict JudgeLogRemoval(const char* name, int isdst, const AutoProbe& probe) {
  if (!HasRetention(kClassPsl)) return RemovalVerdict::kNoRetention;
  if (!Contains(name, ".psl") || !BeginsWithDigits(name, 8)) return RemovalVerdict::kOtherFile;
  if (probe.version(name) != 0) return RemovalVerdict::kRefused;
  return ExpiredOrNot(DayEndsBefore(NameDate(name, isdst), arcdelinfo.savetime[kClassPsl].limit));
}

RemovalVerdict JudgeArchiveRemoval(const char* name, const AutoProbe& probe) {
  if (Contains(name, ".psa_tmp")) return RemovalVerdict::kTemporary;
  if (!HasRetention(kClassHour) && !HasRetention(kClassDay)) return RemovalVerdict::kNoRetention;
  if (!Contains(name, ".psa")) return RemovalVerdict::kOtherFile;
  const int level = probe.level(name);
  if (level == -1) return RemovalVerdict::kRefused;
  if (level == 0) return RemovalVerdict::kOtherFile;
  if (!HasRetention(level == 2 ? kClassDay : kClassHour)) return RemovalVerdict::kNoRetention;
  if (probe.version(name) != 0) return RemovalVerdict::kRefused;
  if (!BeginsWithDigits(name, level == 2 ? 6 : 8)) return RemovalVerdict::kOtherFile;
  return ExpiredOrNot(level == 2 ? DayArchiveExpired(name) : HourArchiveExpired(name));
}

int ArcDelete() {
  const int32_t count = CreatDelList();
  const int result = count == -1 ? -1 : DelFile(count);
  FreeDelList();
  return result;
}

int32_t CreatDelList() {
  FreeDelList();
  std::vector<std::string> logs;
  std::vector<std::string> archives;
  if (HasRetention(kClassPsl)) logs = ListNames(arcdelinfo.arcdir);
  if (Opens(ArchiveSubdirectory())) archives = ListNames(ArchiveSubdirectory());
  const size_t total = logs.size() + archives.size();
  if (total == 0) return 0;
  pDelFileList = static_cast<char*>(Malloc(total * kNameSlot));
  if (pDelFileList == nullptr) return -1;

  int32_t count = 0;
  const int isdst = LocalTime(CurrentTime()).tm_isdst;
  for (const std::string& name : logs) {
    if (IsRemoved(JudgeLogRemoval(name.c_str(), isdst, FileProbe()))) Append(name, &count);
  }
  for (const std::string& name : archives) {
    if (IsRemoved(JudgeArchiveRemoval(name.c_str(), FileProbe()))) Append(name, &count);
  }
  return count;
}

int DelFile(int32_t count) {
  int32_t removed = 0;
  int32_t failed = 0;
  int last_error = 0;
  for (int32_t i = 0; i < count; ++i) {
    const char* name = DelListName(i);
    char path[256];
    errno = ENAMETOOLONG;
    if (AutoFilePath(name, path) && unlink(path) == 0) {
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

const char* DelListName(int32_t i) { return pDelFileList + static_cast<size_t>(i) * kNameSlot; }

void FreeDelList() {
  free(pDelFileList);
  pDelFileList = nullptr;
}
