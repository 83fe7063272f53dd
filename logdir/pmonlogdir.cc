// File lists: see the header. The daemon writes new files at any time, so the list is made in two
// passes with headroom between them: the first counts, the second stores.
#include "logdir/pmonlogdir.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>

#include "archiver/messages.h"
#include "engine/finfo.h"
#include "engine/pmoncommon.h"
#include "logdir/timespan.h"
#include "platform/process.h"

namespace {

constexpr uint32_t kDetOpendir = 0x03040001;
constexpr size_t kHeadroom = 64;  // files that may appear between the two passes

// Sockets and block devices share the directory bit and are left out with it, and so is an entry
// whose status is not available.
bool IsListed(const char* directory, const char* name) {
  struct stat status {};
  if (stat((std::string(directory) + name).c_str(), &status) != 0) return false;
  return (status.st_mode & S_IFDIR) == 0;
}

size_t CountFiles(DIR* stream, const char* directory) {
  size_t count = 0;
  while (const dirent* entry = readdir(stream)) {
    if (IsListed(directory, entry->d_name)) ++count;
  }
  return count;
}

void AllocateLists(size_t count) {
  FlistBuf = static_cast<char*>(Malloc((count + kHeadroom) * kNameSlot));
  Flist = static_cast<char**>(Malloc((count + kHeadroom) * sizeof(char*)));
  TargetList = static_cast<char**>(Malloc((count + kHeadroom) * sizeof(char*)));
  finfo.target_marks_size = count + kHeadroom + 1;
  finfo.target_marks = static_cast<uint8_t*>(Malloc(finfo.target_marks_size));
  memset(finfo.target_marks, 0, finfo.target_marks_size);
}

// Stores at most `room` names. Names of the monitor are far shorter than a slot; a longer one is
// cut and thereby loses its extension.
size_t StoreFiles(DIR* stream, const char* directory, size_t room) {
  size_t stored = 0;
  const dirent* entry;
  while (stored < room && (entry = readdir(stream)) != nullptr) {
    if (!IsListed(directory, entry->d_name)) continue;
    char* slot = FlistBuf + stored * kNameSlot;
    const size_t length = strnlen(entry->d_name, kNameSlot - 1);
    memcpy(slot, entry->d_name, length);
    slot[length] = '\0';
    Flist[stored++] = slot;
  }
  return stored;
}

bool InSpan(const char* name, int isdst) {
  if (!BeginsWithDigits(name, 8)) return false;
  struct tm date = NameDate(name, isdst);
  int64_t time = 0;
  if (CheckTm(&date) != 0 || !ToTime(&date, &time)) return false;
  return (StartTime == 0 || StartTime <= time) && time <= EndTime;
}

// The name that the archive of a PSL file has.
std::string ArchiveName(const char* psl_name) {
  std::string name(psl_name, strlen(psl_name) - strlen(".psl"));
  return name.substr(0, name.find('#')) + ".psa";
}

// Drops the PSL files whose archive is selected, too. The last name moves into the gap, so the rest
// does not stay sorted; the archive run sorts its inputs itself.
void DropArchivedLogs() {
  std::set<std::string> archives;
  for (int32_t i = 0; i < Ntarget; ++i) {
    if (HasExtension(TargetList[i], ".psa")) archives.insert(TargetList[i]);
  }
  for (int32_t i = 0; i < Ntarget;) {
    if (!HasExtension(TargetList[i], ".psl") || !archives.contains(ArchiveName(TargetList[i]))) {
      ++i;
      continue;
    }
    --Ntarget;
    if (i < Ntarget) memcpy(TargetList[i], TargetList[Ntarget], kNameSlot);
  }
}

}  // namespace

void SetFileList(const char* directory) {
  FreeFileList();
  DIR* stream = opendir(directory);
  if (stream == nullptr) {
    LogMessage(103, directory, "opendir", errno, kDetOpendir);
    LogTaskFailed();
    EndProcess(1);
  }
  const size_t count = CountFiles(stream, directory);
  if (count > 0) {
    AllocateLists(count);
    rewinddir(stream);
    Nfile = static_cast<int32_t>(StoreFiles(stream, directory, count + kHeadroom));
  }
  closedir(stream);
}

void FreeFileList() {
  // Without a name buffer the target list is the argument vector.
  if (FlistBuf != nullptr) free(static_cast<void*>(TargetList));
  free(static_cast<void*>(Flist));
  free(FlistBuf);
  free(finfo.target_marks);
  TargetList = nullptr;
  Ntarget = 0;
  Flist = nullptr;
  FlistBuf = nullptr;
  Nfile = 0;
  finfo.target_marks = nullptr;
  finfo.target_marks_size = 0;
}

void FindTargetFile() {
  SortFileList();
  const int isdst = LocalTime(CurrentTime()).tm_isdst;
  Ntarget = 0;
  for (int32_t i = 0; i < Nfile; ++i) {
    const bool psa = HasExtension(Flist[i], ".psa");
    if (!psa && !HasExtension(Flist[i], ".psl")) continue;
    if (psa && finfo.level == 'H') continue;
    if (InSpan(Flist[i], isdst)) TargetList[Ntarget++] = Flist[i];
  }
  if (Ntarget == 0) {
    LogMessage(107, nullptr);
    EndProcess(1);
  }
  DropArchivedLogs();
}

void SortFileList() {
  if (Nfile == 0) return;
  qsort(static_cast<void*>(Flist), static_cast<size_t>(Nfile), sizeof *Flist, TargetSort);
}

int TargetSort(const void* a, const void* b) {
  return strcmp(*static_cast<const char* const*>(a), *static_cast<const char* const*>(b));
}

bool HasExtension(const char* name, const char* extension) {
  const char* dot = strrchr(name, '.');
  return dot != nullptr && strcmp(dot, extension) == 0;
}
