// Automatic selection: see the header. What is selected is decided in autorules.cc; here is what
// the run does for it.
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
#include <string>
#include <vector>

#include "archiver/messages.h"
#include "archiver/runinfo.h"
#include "engine/finfo.h"
#include "engine/pmoncommon.h"
#include "logdir/autorules.h"
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

std::vector<std::string> SortedNames(const char* directory) {
  SetFileList(directory);
  SortFileList();
  return {Flist, Flist + Nfile};
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

void AppendTarget(const std::string& name) {
  char* slot = FlistBuf + static_cast<size_t>(Ntarget) * kNameSlot;
  name.copy(slot, kNameSlot - 1);  // the buffer is zeroed, so every slot ends with a zero
  TargetList[Ntarget++] = slot;
}

void AppendTargets(const std::vector<AutoFile>& files) {
  for (const AutoFile& file : files) {
    if (file.verdict == AutoVerdict::kTarget) AppendTarget(file.name);
  }
}

// The lists have room for every candidate, whatever of them is dropped.
void BuildTargetList(AutoSelection* selection) {
  const size_t count = CountTargets(selection->logs) + CountTargets(selection->archives);
  FreeFileList();
  finfo.target_marks_size = count + 1;
  finfo.target_marks = static_cast<uint8_t*>(Malloc(finfo.target_marks_size));
  memset(finfo.target_marks, 0, finfo.target_marks_size);
  if (count == 0) return;
  FlistBuf = static_cast<char*>(Malloc(count * kNameSlot));
  memset(FlistBuf, 0, count * kNameSlot);
  TargetList = static_cast<char**>(Malloc(count * sizeof(char*)));
  DropArchived(finfo.level, FileProbe(), selection);
  AppendTargets(selection->logs);
  AppendTargets(selection->archives);
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
  const AutoPeriod period = PeriodOfRun(finfo.level);
  AutoSelection selection;
  JudgeLogs(period, SortedNames(arcdelinfo.arcdir), &selection);
  if (finfo.level == 'H' && CountTargets(selection.logs) == 0) {
    FreeFileList();
    return;
  }
  ProvideArchiveDirectory(ArchiveSubdirectory());
  JudgeArchives(period, SortedNames(ArchiveSubdirectory()), FileProbe(), &selection);
  BuildTargetList(&selection);
}

const AutoProbe& FileProbe() {
  static const AutoProbe probe = {CheckAutoFileLevel, CheckAutoFileVer};
  return probe;
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
