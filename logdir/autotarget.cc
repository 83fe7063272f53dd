// Automatic selection: see the header. A file is archived once its day (hour level) or month (day
// level) is over, unless its archive exists already or would expire at once.
#include "logdir/autotarget.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "archiver/messages.h"
#include "archiver/runinfo.h"
#include "engine/finfo.h"
#include "engine/pmoncommon.h"
#include "logdir/pmonlogdir.h"
#include "logdir/timespan.h"
#include "platform/process.h"

namespace {

constexpr uint32_t kDetMkdir = 0x030D0001;

constexpr int32_t kCodeDays = 0x10000000;
constexpr int32_t kCodeMonths = 0x20000000;
constexpr int32_t kCodeYears = 0x40000000;
constexpr int64_t kSecondsPerDay = 86400;

constexpr size_t kRevisionOffset = 3;
constexpr size_t kLevelOffset = 12;
constexpr uint8_t kLowestRevision = 23;

int ClassOf(char letter) {
  return letter == 'L' ? kClassPsl : letter == 'H' ? kClassHour : kClassDay;
}

// What a level's run accepts: the class of its outputs gives period end and limit.
struct Period {
  int64_t end;
  bool has_limit;
  int64_t limit;
};

// End of yesterday (hour level) or of the month before (day level).
int64_t PeriodEnd(bool hour_run, int64_t now) {
  struct tm date = LocalTime(now);
  bool whole_month = !hour_run;
  if (hour_run) {
    --date.tm_mday;
    whole_month = date.tm_mday == 0;
  }
  if (whole_month) {
    MoveBackMonths(&date, 1);
    date.tm_mday = DaysOfMonth(date.tm_year + 1900, date.tm_mon);
  }
  date.tm_hour = 23;
  date.tm_min = 59;
  date.tm_sec = 59;
  date.tm_isdst = -1;
  int64_t end = 0;
  ToTime(&date, &end);
  return end;
}

Period PeriodOfRun() {
  const bool hour_run = finfo.level == 'H';
  const int output_class = hour_run ? kClassHour : kClassDay;
  return {PeriodEnd(hour_run, arcdelinfo.savetime[output_class].now),
          arcdelinfo.savetm_flg[output_class] != 0, arcdelinfo.savetime[output_class].limit};
}

bool IsCandidate(const char* name, const Period& period) {
  if (!BeginsWithDigits(name, 8)) return false;
  struct tm date = NameDate(name, -1);
  int64_t time = 0;
  if (CheckTm(&date) != 0 || !ToTime(&date, &time)) return false;
  return time <= period.end && (!period.has_limit || time >= period.limit);
}

// Date and array of a name: files with the same key belong to the same archive.
std::string KeyOf(const std::string& name) {
  const size_t hash = name.find('#');
  return name.substr(0, hash != std::string::npos ? hash : name.find('.'));
}

// The key of the day archive that takes a day's file: the day digits removed.
std::string MonthKey(const std::string& key) {
  return key.size() < 8 ? key : key.substr(0, 6) + key.substr(8);
}

using Keys = std::set<std::string>;

struct Candidates {
  std::vector<std::string> logs;           // PSL files
  std::vector<std::string> hour_archives;  // level 1
  Keys hour_keys;
  Keys day_keys;  // level 2
};

void ListLogs(const Period& period, Candidates* found) {
  SetFileList(arcdelinfo.arcdir);
  SortFileList();
  for (int32_t i = 0; i < Nfile; ++i) {
    if (HasExtension(Flist[i], ".psl") && IsCandidate(Flist[i], period)) {
      found->logs.emplace_back(Flist[i]);
    }
  }
}

void ProvideArchiveDirectory(const char* directory) {
  DIR* stream = opendir(directory);
  if (stream != nullptr) {
    closedir(stream);
    return;
  }
  if (mkdir(directory, 0755) != 0) {
    LogMessage(113, nullptr, "mkdir", errno, kDetMkdir);
    LogTaskFailed();
    EndProcess(1);
  }
}

void ListArchives(const Period& period, Candidates* found) {
  SetFileList(ArchiveSubdirectory());
  SortFileList();
  for (int32_t i = 0; i < Nfile; ++i) {
    const char* name = Flist[i];
    if (!HasExtension(name, ".psa") || !BeginsWithDigits(name, 6)) continue;
    const int level = CheckAutoFileLevel(name);
    if (level == 2) {
      found->day_keys.insert(KeyOf(name));
    } else if (level == 1 && IsCandidate(name, period)) {
      found->hour_archives.emplace_back(name);
      found->hour_keys.insert(KeyOf(name));
    }
  }
}

void AppendTarget(const std::string& name) {
  char* slot = FlistBuf + static_cast<size_t>(Ntarget) * kNameSlot;
  name.copy(slot, kNameSlot - 1);  // the buffer is zeroed, so every slot ends with a zero
  TargetList[Ntarget++] = slot;
}

void BuildTargetList(const Candidates& found) {
  const size_t count = found.logs.size() + found.hour_archives.size();
  FreeFileList();
  finfo.target_marks_size = count + 1;
  finfo.target_marks = static_cast<uint8_t*>(Malloc(finfo.target_marks_size));
  memset(finfo.target_marks, 0, finfo.target_marks_size);
  if (count == 0) return;
  FlistBuf = static_cast<char*>(Malloc(count * kNameSlot));
  memset(FlistBuf, 0, count * kNameSlot);
  TargetList = static_cast<char**>(Malloc(count * sizeof(char*)));

  const bool day_run = finfo.level == 'D';
  for (const std::string& name : found.logs) {
    const std::string key = KeyOf(name);
    if (found.hour_keys.contains(key)) continue;
    if (day_run && found.day_keys.contains(MonthKey(key))) continue;
    if (CheckAutoFileVer(name.c_str()) == 0) AppendTarget(name);
  }
  if (!day_run) return;
  for (const std::string& name : found.hour_archives) {
    if (found.day_keys.contains(MonthKey(KeyOf(name)))) continue;
    if (CheckAutoFileVer(name.c_str()) == 0) AppendTarget(name);
  }
}

// A file opened on rfd, as the engine's checked reads name the input that they fail on.
class OpenedFile {
 public:
  explicit OpenedFile(const char* name) {
    char path[256];
    if (!AutoFilePath(name, path)) return;
    // A pipe among the files must not stop the run; regular files do not know the flag.
    rfd = open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    rfname = name;
  }
  ~OpenedFile() {
    if (rfd != -1) close(rfd);
    rfd = -1;
    rfname = nullptr;
  }
  OpenedFile(const OpenedFile&) = delete;
  OpenedFile& operator=(const OpenedFile&) = delete;

  bool IsOpen() const { return rfd != -1; }

  size_t Size() const {
    struct stat status {};
    return fstat(rfd, &status) == 0 ? static_cast<size_t>(status.st_size) : 0;
  }

  uint8_t ByteAt(size_t offset) const {
    uint8_t bytes[kLevelOffset + 1] = {};
    ReadExact(rfd, bytes, offset + 1);
    return bytes[offset];
  }
};

}  // namespace

int GetTimeSpan() {
  const int64_t now = CurrentTime();
  for (auto& span : arcdelinfo.savetime) span.now = now;
  constexpr char kLetters[] = {'L', 'H', 'D'};
  for (size_t i = 0; i < std::size(kLetters); ++i) {
    if (arcdelinfo.savetm_flg[i] != 0) GetSaveTime(arcdelinfo.savetm[i], kLetters[i]);
  }
  return 0;
}

void GetSaveTime(int32_t encoded, char letter) {
  auto& span = arcdelinfo.savetime[ClassOf(letter)];
  if (encoded > kCodeDays && encoded < kCodeMonths) {
    span.limit = span.now - (encoded - kCodeDays) * kSecondsPerDay;
    return;
  }
  struct tm date = LocalTime(span.now);
  if (encoded > kCodeMonths && encoded < kCodeYears) {
    MoveBackMonths(&date, encoded - kCodeMonths);
    const int last = DaysOfMonth(date.tm_year + 1900, date.tm_mon);
    if (date.tm_mday > last) date.tm_mday = last;
  } else if (encoded > kCodeYears) {
    date.tm_year -= encoded - kCodeYears;  // 29 February becomes 1 March in the conversion
  } else {
    return;
  }
  date.tm_hour = 0;
  date.tm_min = 0;
  date.tm_sec = 0;
  date.tm_isdst = -1;
  ToTime(&date, &span.limit);
}

void GetTargetFile() {
  const Period period = PeriodOfRun();
  Candidates found;
  ListLogs(period, &found);
  if (finfo.level == 'H' && found.logs.empty()) {
    FreeFileList();
    return;
  }
  ProvideArchiveDirectory(ArchiveSubdirectory());
  ListArchives(period, &found);
  BuildTargetList(found);
}

int CheckAutoFileLevel(const char* name) {
  const OpenedFile file(name);
  if (!file.IsOpen()) return -1;
  const size_t size = file.Size();
  if (size == 0) return 1;
  if (size <= kLevelOffset) return 0;
  const uint8_t level = file.ByteAt(kLevelOffset);
  return level == 'H' ? 1 : level == 'D' ? 2 : 0;
}

int CheckAutoFileVer(const char* name) {
  const OpenedFile file(name);
  if (!file.IsOpen() || file.Size() < kLevelOffset) return -1;
  return file.ByteAt(kRevisionOffset) >= kLowestRevision ? 0 : -1;
}

const char* ArchiveSubdirectory() {
  static char directory[sizeof arcdelinfo.arcdir + sizeof "archive/"];
  snprintf(directory, sizeof directory, "%sarchive/", arcdelinfo.arcdir);
  return directory;
}

bool AutoFilePath(const char* name, char (&path)[256]) {
  const char* directory =
      strstr(name, ".psl") != nullptr ? arcdelinfo.arcdir : ArchiveSubdirectory();
  const int length = snprintf(path, sizeof path, "%s%s", directory, name);
  return length >= 0 && static_cast<size_t>(length) < sizeof path;
}
