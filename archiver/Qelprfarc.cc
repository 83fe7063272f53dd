// Run control: prepares the process, chooses the inputs of each archive run, and ends the run. What
// fails on the way is reported by the step itself; the run then goes straight to its end, where
// everything that it holds is released.
#include "archiver/Qelprfarc.h"

#include <dirent.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "archiver/lock.h"
#include "archiver/options.h"
#include "archiver/prune.h"
#include "archiver/removal.h"
#include "archiver/segment.h"
#include "archiver/signals.h"
#include "archiver/workdir.h"
#include "areas/finfo.h"
#include "engine/QelprfarcMain.h"
#include "engine/names.h"
#include "engine/unarchived.h"
#include "logdir/autotarget.h"
#include "logdir/pmonlogdir.h"
#include "logdir/timespan.h"
#include "logdir/unread.h"
#include "platform/QelCM.h"
#include "platform/places.h"
#include "platform/process.h"
#include "platform/version.h"
#include "pmonb/PMONBshareTxt.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "report/trace.h"
#include "report/usage.h"

char iopath[1024];

namespace {

constexpr uint32_t kDetLongPath = 0x0301000C;
constexpr char kRemoveFile = '<';  // operation code of pmonSubFileOperation
constexpr int kRemoved = 1;

bool StartedByDaemon() { return arcdelinfo.auto_flg != 0 || arcdelinfo.auto2_flg != 0; }

void ClearWorkAreas() {
  arcdelinfo = ArcDelInfo{};
  arcerrinfo = ArcErrInfo{};
  lockfile_path[0] = '\0';
  lockfile_fd = -1;
  iopath[0] = '\0';
  sgmtr_dmpfile[0] = '\0';
  wfd = -1;
  rfd = -1;
  unarchived = {};
  ForgetUnread();
  InitWorkArea();
}

void TraceStart() {
  if (arcdelinfo.auto2_flg != 0) {
    TraceLine(__LINE__, "$main():arc delete pml start");
    return;
  }
  const bool update = arcdelinfo.mode == kModeArrayUpdate;
  const bool forced = arcdelinfo.force_flg != 0;
  TraceLine(__LINE__, "%s", update ? kTraceUpdateStart : forced ? kTraceForceStart : kTraceStart);
  // The servers of a machine share the trace.
  TraceLine(__LINE__, "%s%s", kTraceRoot, arcdelinfo.rootdir);
}

bool TakeLock() {
  snprintf(lockfile_path, sizeof lockfile_path, "%s%s", arcdelinfo.rootdir, kLockFile);
  if (Arc_chksgm(lockfile_path) != 0) {
    LogTaskFailed();
    return false;
  }
  return Arc_Lock() == 0;
}

// Configuration, trace, lock and working directory of a run started by the daemon. False when the
// run cannot go on.
bool PrepareDaemonRun() {
  SetSignal();
  if (!ReadConfiguration()) return false;
  SetTraceFile();
  TraceStart();
  if (!TakeLock()) return false;
  return EnterWorkDirectory();
}

// Temporary archives found at the start belong to runs that were interrupted.
void ReportInterruptedArchives() {
  const char* directory = ArchiveSubdirectory();
  DIR* stream = opendir(directory);
  if (stream == nullptr) return;
  closedir(stream);
  const Listing listing = ListForRun(directory);
  for (const auto* names : {&listing.names, &listing.oversized}) {
    for (const std::string& name : *names) {
      if (!IsTemporaryName(name)) continue;
      LogMessage(112, std::string(ArchiveOfTemporary(name)).c_str());
    }
  }
}

void EndPathWithSeparator() {
  const char* path = finfo.path;
  if (path == nullptr) return;
  const size_t length = strlen(path);
  if (path[length - 1] == '/' || path[length - 1] == '\\') return;
  if (length + 2 > sizeof iopath) {
    LogMessage(103, path, "opendir", ENAMETOOLONG, kDetLongPath);
    Usage();
  }
  memcpy(iopath, path, length);
  iopath[length] = '/';
  iopath[length + 1] = '\0';
  finfo.path = iopath;
}

void RunManual(const char* time_text) {
  if (finfo.optclass == (kOptFile | kOptDirectory)) Usage();
  const bool directory_run = finfo.optclass == kOptDirectory;
  if (directory_run && (finfo.path == nullptr || finfo.level == 0)) Usage();
  if (finfo.optclass == 0) finfo.optclass = kOptFile;
  EndPathWithSeparator();
  if (directory_run) {
    SetFileList(finfo.path);
    SetTimeSpan(time_text);
    FindTargetFile();
  } else {
    if (Ntarget == 0) Usage();
    CheckInputFile();
  }
  InitArchiver();
  ArcMain();
}

void ArchiveLevel(char level) {
  finfo.optclass = kOptDirectory;
  finfo.level = level;
  GetTargetFile();
  if (Ntarget == 0) {
    FreeFileList();
    return;
  }
  InitArchiver();
  ArcMain();
  MemoryFree();
}

// The day run comes second: it takes the hour archives that the hour run has just made.
void ArchiveBothLevels() {
  ArchiveLevel('H');
  wfd = -1;
  rfd = -1;
  InitWorkArea();
  ArchiveLevel('D');
}

void RemoveMarker(const char* name, const char* trace_word) {
  char path[sizeof arcdelinfo.arcdir + 16];
  snprintf(path, sizeof path, "%s/%s", arcdelinfo.arcdir, name);
  errno = 0;
  const int result = pmonSubFileOperation(path, kRemoveFile);
  if (result != kRemoved) TraceLine(__LINE__, "%s(ret=%d.errno=%d)", trace_word, result, errno);
}

void FinishAutomaticArchiving() {
  if (arcdel_errflg != 0) LogMessage(114, "archives");
  if (ArcDelete() == -1) {
    LogMessage(114, "deletion");
  } else if (arcdel_errflg == 0) {
    TraceLine(__LINE__, "%s", kTraceEnd);
  }
  RemoveMarker(kUpdateMarker, "err_del_arcupdatefile");
  RemoveMarker(kExecutionMarker, "err_del_execfile");
}

void RunDaemonTasks() {
  if (arcdelinfo.auto_flg != 0) {
    ReportInterruptedArchives();
    GetTimeSpan();
  }
  if (arcdelinfo.arc_flg != 0) ArchiveBothLevels();
  if (arcdelinfo.auto_flg != 0) FinishAutomaticArchiving();
  if (arcdelinfo.auto2_flg != 0) PrunePmlFiles();
}

void EndRun() {
  if (arcdelinfo.mode != kModeNone) Arc_Unlock();
  DetachSegment();
  MemoryFree();
}

}  // namespace

int RunArchiver(int argc, char** argv) {
  if (argc == 2 && strcmp(argv[1], "-ver") == 0) {
    printf("Qelprfarc   Version %s\n", kVersion);
    return 0;
  }
  IgnoreSizeLimitSignal();
  ClearWorkAreas();
  const char* time_text = ParseCommandLine(argc, argv);
  if (!StartedByDaemon()) {
    RunManual(time_text);
  } else if (PrepareDaemonRun()) {
    RunDaemonTasks();
  }
  EndRun();
  return 0;
}

void CheckInputFile() {
  const char* first = TargetList[0];
  for (int32_t i = 0; i < Ntarget; ++i) {
    const char* name = TargetList[i];
    if (!IsLogName(name) && !IsArchiveName(name)) {
      LogMessage(101, name);
      EndProcess(1);
    }
    if (IsLogName(first) != IsLogName(name)) {
      LogMessage(105, nullptr);
      EndProcess(1);
    }
  }
}
