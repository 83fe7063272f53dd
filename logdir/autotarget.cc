// Automatic selection: see the header. What is selected is decided in autorules.cc; here is what
// the run does for it.
#include "logdir/autotarget.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "areas/finfo.h"
#include "engine/names.h"
#include "engine/pmoncommon.h"
#include "engine/pmonfile.h"
#include "engine/unarchived.h"
#include "logdir/autorules.h"
#include "logdir/limits.h"
#include "logdir/listing.h"
#include "logdir/pmonlogdir.h"
#include "logdir/timespan.h"
#include "logdir/unread.h"
#include "platform/directory.h"
#include "platform/open.h"
#include "platform/places.h"
#include "platform/process.h"
#include "platform/transfer.h"
#include "report/messages.h"
#include "report/runinfo.h"

namespace {

constexpr uint32_t kDetMkdir = 0x030D0001;
constexpr uint32_t kDetOpen = 0x030D0002;
constexpr uint32_t kDetFstat = 0x030D0003;
constexpr uint32_t kDetRead = 0x030D0004;
constexpr uint32_t kDetSync = 0x030D0005;

int ClassOf(char letter) {
  return letter == 'L' ? kClassPsl : letter == 'H' ? kClassHour : kClassDay;
}

AutoNames SortedNames(const char* directory) {
  Listing listing = ListForRun(directory);
  std::sort(listing.names.begin(), listing.names.end());
  return {std::move(listing.names), std::move(listing.unread)};
}

[[noreturn]] void EndWithout(const char* call, uint32_t detail) {
  LogMessage(113, nullptr, call, errno, detail);
  LogTaskFailed();
  EndProcess(1);
}

void ProvideArchiveDirectory(const char* directory) {
  DIR* stream = opendir(directory);
  if (stream != nullptr) {
    closedir(stream);
    return;
  }
  if (mkdir(directory, 0755) != 0) EndWithout("mkdir", kDetMkdir);
  // Archives in a directory that a power failure takes away would be gone with their logs removed.
  if (const char* failed = SyncDirectory(arcdelinfo.arcdir); failed != nullptr) {
    const int error = errno;
    rmdir(directory);
    errno = error;
    EndWithout(failed, kDetSync);
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

void ReportUnreadable(const AutoSelection& selection) {
  for (const auto* files : {&selection.logs, &selection.archives}) {
    for (const AutoFile& file : *files) {
      if (file.verdict == AutoVerdict::kUnreadable) ReportUnread(AutoFilePath(file.name));
    }
  }
  NoteHeldUp(finfo.level, selection, unarchived);
}

// The beginning of a file of the archive directory.
struct FileHead {
  enum class State : uint8_t { kRead, kGone, kUnreadable };
  State state = State::kUnreadable;
  size_t size = 0;
  uint8_t bytes[kAtLevel + 1] = {};
};

FileHead LookInto(const char* name) {
  FileHead head;
  const std::string path = AutoFilePath(name);
  if (!FitsPaths(arcdelinfo.arcdir, name)) {
    NoteLongPath(path);
    return head;
  }
  const int fd = OpenToRead(path.c_str());
  if (fd == -1) {
    if (errno == ENOENT) head.state = FileHead::State::kGone;
    if (errno != ENOENT) NoteUnread(path, "fopen", errno, kDetOpen);
    return head;
  }
  struct stat status {};
  if (fstat(fd, &status) != 0) {
    NoteUnread(path, "fstat", errno, kDetFstat);
  } else if (!S_ISREG(status.st_mode)) {
    head.state = FileHead::State::kRead;  // as an empty file
  } else if (!ReadBeginning(fd, status.st_size, head.bytes)) {
    // Nor is a file short because less of it came than it has.
    NoteUnread(path, "read", errno, kDetRead);
  } else {
    head.state = FileHead::State::kRead;
    head.size = std::min(sizeof head.bytes, static_cast<size_t>(status.st_size));
  }
  close(fd);
  return head;
}

int LevelOf(const char* name) {
  const FileHead head = LookInto(name);
  if (head.state != FileHead::State::kRead) {
    return head.state == FileHead::State::kGone ? -1 : kUnreadableFile;
  }
  if (head.size == 0) return 1;
  if (head.size <= kAtLevel) return 0;
  const uint8_t level = head.bytes[kAtLevel];
  return level == 'H' ? 1 : level == 'D' ? 2 : 0;
}

int VersionOf(const char* name) {
  const FileHead head = LookInto(name);
  if (head.state == FileHead::State::kUnreadable) return kUnreadableFile;
  return head.size >= kAtLevel && head.bytes[kAtFlag] >= kLowestAutoRevision ? 0 : -1;
}

}  // namespace

int GetTimeSpan() {
  TakeLimits(CurrentTime());
  return 0;
}

void TakeLimits(int64_t now) {
  for (auto& span : arcdelinfo.savetime) span.now = now;
  constexpr char kLetters[] = {'L', 'H', 'D'};
  for (size_t i = 0; i < std::size(kLetters); ++i) {
    if (arcdelinfo.savetm_flg[i] != 0) GetSaveTime(arcdelinfo.savetm[i], kLetters[i]);
  }
}

void GetSaveTime(int32_t encoded, char letter) {
  auto& span = arcdelinfo.savetime[ClassOf(letter)];
  span.limit = LimitOf(encoded, span.now).value_or(span.limit);
}

void GetTargetFile() {
  const AutoPeriod period = PeriodOfRun(finfo.level, RunLimits());
  AutoSelection selection;
  selection.held_up = unarchived.held_up();
  JudgeLogs(period, SortedNames(arcdelinfo.arcdir), &selection);
  if (!NeedsArchives(finfo.level, selection)) {
    FreeFileList();
    ReportUnreadable(selection);
    return;
  }
  ProvideArchiveDirectory(ArchiveSubdirectory());
  JudgeArchives(period, SortedNames(ArchiveSubdirectory()), FileProbe(), &selection);
  BuildTargetList(&selection);
  ReportUnreadable(selection);
}

void NoteHeldUp(char level, const AutoSelection& selection, UnarchivedPeriods& noted) {
  for (const auto* files : {&selection.logs, &selection.archives}) {
    for (const AutoFile& file : *files) {
      if (file.verdict == AutoVerdict::kPassedOver) noted.Note(file.name.c_str(), level);
      if (file.verdict != AutoVerdict::kUnreadable) continue;
      for (const std::string& input : InputsHeldUpBy(level, file.name)) {
        noted.Note(input.c_str(), level);
        noted.HoldUp(input);
      }
    }
  }
}

const AutoProbe& FileProbe() {
  static const AutoProbe probe = {LevelOf, VersionOf};
  return probe;
}

int CheckAutoFileLevel(const char* name) {
  const int level = LevelOf(name);
  return level == kUnreadableFile ? -1 : level;
}

int CheckAutoFileVer(const char* name) { return VersionOf(name) == 0 ? 0 : -1; }

const char* ArchiveSubdirectory() {
  static char directory[sizeof arcdelinfo.arcdir + sizeof kArchivePart];
  snprintf(directory, sizeof directory, "%s%s", arcdelinfo.arcdir, kArchivePart);
  return directory;
}

std::string AutoFilePath(const std::string& name) {
  return (LiesInArchive(name) ? ArchiveSubdirectory() : arcdelinfo.arcdir) + name;
}

bool FitsPaths(const std::string& directory, const std::string& name) {
  constexpr size_t kLongestPath = 255;
  constexpr size_t kPart = sizeof kArchivePart - 1;
  const bool archive = LiesInArchive(name);
  const size_t input = directory.size() + (archive ? kPart : 0) + name.size();
  // The output of a log has its name up to the number or extension; that of an hour archive two
  // digits less.
  const size_t end = StemOf(name).size();
  const size_t stem = archive && end > 2 ? end - 2 : end;
  const size_t output =
      directory.size() + kPart + stem + kArchiveExtension.size() + kTemporaryEnd.size();
  return std::max(input, output) <= kLongestPath;
}
