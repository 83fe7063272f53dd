// A whole plan: see the header.
#include "tools/running/plan.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "archiver/lock.h"
#include "engine/names.h"
#include "logdir/autotarget.h"
#include "logdir/listing.h"
#include "logdir/unread.h"
#include "platform/places.h"
#include "report/runinfo.h"

namespace psltool {

namespace {

bool IsDirectory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// What a run needs before it looks at any file: a place for its lock and one for its working
// directory. False: it would end there, with messages 113 and 114.
bool FindsItsDirectories(Plan& plan) {
  const std::string root = arcdelinfo.rootdir;
  std::string missing;
  for (const char* needed : {kLockDirectory, kWorkParent}) {
    if (IsDirectory(root + needed)) continue;
    missing += fmt::format("{}{}{}", missing.empty() ? "" : " and no ", root, needed);
  }
  if (!missing.empty()) {
    plan.end =
        fmt::format("there is no directory {} (messages 113 and 114); make it first", missing);
    return false;
  }
  struct stat status {};
  const std::string work = root + kWorkDirectory;
  if (stat(work.c_str(), &status) == 0 && !S_ISDIR(status.st_mode)) {
    plan.end = fmt::format("{} is no directory (messages 113 and 114); remove it first", work);
  }
  return plan.end.empty();
}

// The lock is asked about, not taken.
void LookAtLock(Plan& plan) {
  const std::string root = arcdelinfo.rootdir;
  const pid_t holder = LockHolder((root + kLockFile).c_str());
  if (holder > 0) {
    plan.notes.push_back(
        fmt::format("process {} holds the lock: a run started now would end at once", holder));
  }
}

void NoteInterrupted(const ArchiveView& view, Plan& plan) {
  for (const auto* names : {&view.listed, &view.oversized}) {
    for (const std::string& name : *names) {
      if (!IsTemporaryName(name)) continue;
      plan.notes.push_back(
          fmt::format("{}{} was left by an interrupted run (message 112)", kArchivePart, name));
    }
  }
}

// False: the run would end with it.
bool ListArchives(ArchiveView& view, Plan& plan) {
  const Listing listing = ListDirectory(ArchiveSubdirectory());
  view.exists = listing.call == nullptr;
  // A directory that does not open is looked at again when it is needed.
  if (listing.call != nullptr && strcmp(listing.call, "opendir") != 0) {
    plan.end = fmt::format("{}: {} (message 103)", ArchiveSubdirectory(), strerror(listing.error));
    return false;
  }
  view.listed = listing.names;
  view.unread = listing.unread;
  view.oversized = listing.oversized;
  return true;
}

}  // namespace

std::vector<PlanFile> DescribeOversized(const std::string& directory,
                                        const std::vector<std::string>& names) {
  std::vector<PlanFile> files;
  for (const std::string& name : names) {
    files.push_back(
        {directory + name, "long-name",
         fmt::format("a name of more than {} characters is left alone", kNameSlot - 1)});
  }
  return files;
}

std::string UnreadText(const std::string& name) {
  const int error = UnreadError(AutoFilePath(name));
  if (error == ENAMETOOLONG) return "left alone: the archive directory is too long for its files";
  return fmt::format("cannot be looked at: {} (message 102)", strerror(error));
}

Plan PlanRun(const PlanRequest& request) {
  Plan plan;
  if (!FindsItsDirectories(plan)) return plan;
  LookAtLock(plan);
  ArchiveView view;
  if (!ListArchives(view, plan)) return plan;
  if (!request.prune) NoteInterrupted(view, plan);
  if (arcdelinfo.arc_flg == 0) {
    if (!request.prune) plan.notes.emplace_back("archiving is off: the run only removes");
  } else if (!PlanArchiving(request, view, plan)) {
    return plan;
  }
  if (request.prune) {
    // Without limits and period such a run archives nothing; it may fail there all the same.
    plan.steps.clear();
    PlanPruning(request, plan);
  } else {
    PlanRemoval(view, plan);
    NoteFreed(view, plan);
  }
  return plan;
}

bool LiesWithArchives(const std::string& path) { return path.starts_with(kArchivePart); }

std::string NameInDirectory(const std::string& path) {
  return LiesWithArchives(path) ? path.substr(sizeof kArchivePart - 1) : path;
}

}  // namespace psltool
