// File lists: see the header.
#include "logdir/pmonlogdir.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "engine/names.h"
#include "engine/pmoncommon.h"
#include "logdir/timespan.h"
#include "platform/process.h"
#include "report/messages.h"

namespace {

constexpr size_t kHeadroom = 64;  // of the lists, for whoever adds to them

std::vector<std::string> unread_names;  // of the directory listed last

void AllocateLists(size_t count) {
  FlistBuf = static_cast<char*>(Malloc((count + kHeadroom) * kNameSlot));
  Flist = static_cast<char**>(Malloc((count + kHeadroom) * sizeof(char*)));
  TargetList = static_cast<char**>(Malloc((count + kHeadroom) * sizeof(char*)));
  finfo.target_marks_size = count + kHeadroom + 1;
  finfo.target_marks = static_cast<uint8_t*>(Malloc(finfo.target_marks_size));
  memset(finfo.target_marks, 0, finfo.target_marks_size);
}

void StoreNames(const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    char* slot = FlistBuf + static_cast<size_t>(Nfile) * kNameSlot;
    memcpy(slot, name.c_str(), name.size() + 1);
    Flist[Nfile++] = slot;
  }
}

bool InSpan(const char* name, int isdst) {
  if (!BeginsWithDigits(name, kDayDigits)) return false;
  struct tm date = NameDate(name, isdst);
  int64_t time = 0;
  // Not reached: a year of four digits converts.
  if (CheckTm(&date) != 0 || !ToTime(&date, &time)) return false;
  return (StartTime == 0 || StartTime <= time) && time <= EndTime;
}

// Of the run's level, and dated within its span.
bool IsSelected(const char* name, int isdst) {
  const bool archive = IsArchiveName(name);
  if (!archive && !IsLogName(name)) return false;
  return !(archive && finfo.level == 'H') && InSpan(name, isdst);
}

// Drops the PSL files whose archive is selected, too. The last name moves into the gap, so the rest
// does not stay sorted; the archive run sorts its inputs itself.
void DropArchivedLogs() {
  std::set<std::string> archives;
  for (int32_t i = 0; i < Ntarget; ++i) {
    if (IsArchiveName(TargetList[i])) archives.insert(TargetList[i]);
  }
  for (int32_t i = 0; i < Ntarget;) {
    if (!IsLogName(TargetList[i]) || !archives.contains(ArchiveOfLog(TargetList[i]))) {
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
  const Listing listing = ListForRun(directory);
  unread_names = listing.unread;
  if (listing.names.empty()) return;
  AllocateLists(listing.names.size());
  StoreNames(listing.names);
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
  unread_names.clear();
}

void FindTargetFile() {
  SortFileList();
  const int isdst = LocalTime(CurrentTime()).tm_isdst;
  Ntarget = 0;
  for (int32_t i = 0; i < Nfile; ++i) {
    if (IsSelected(Flist[i], isdst)) TargetList[Ntarget++] = Flist[i];
  }
  // Message 102 has named them. As with an input that does not open, nothing is archived: it would
  // be without them.
  for (const std::string& name : unread_names) {
    if (IsSelected(name.c_str(), isdst)) EndProcess(1);
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
