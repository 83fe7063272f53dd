// A whole plan: see the header.
#include "tools/plan.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "archiver/runinfo.h"
#include "logdir/autotarget.h"

namespace {

bool IsDirectory(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

// What a run needs before it looks at any file. The lock is asked about, not taken.
void LookAtServer(Plan& plan) {
  const std::string root = arcdelinfo.rootdir;
  for (const char* needed : {"pmon", "core/Qelprfd"}) {
    if (IsDirectory(root + needed)) continue;
    plan.notes.push_back(fmt::format(
        "there is no directory {}{}: a run would end before it archives anything", root, needed));
  }
  const int fd = open((root + "pmon/arclock").c_str(), O_RDONLY | O_CLOEXEC);
  if (fd == -1) return;
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  if (fcntl(fd, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK) {
    plan.notes.push_back(
        fmt::format("process {} holds the lock: a run started now would end at once", lock.l_pid));
  }
  close(fd);
}

void NoteInterrupted(const ArchiveView& view, Plan& plan) {
  for (const std::string& name : view.listed) {
    if (name.find(".psa_tmp") == std::string::npos) continue;
    plan.notes.push_back(
        fmt::format("archive/{} was left by an interrupted run (message 112)", name));
  }
}

}  // namespace

Plan MakePlan(const PlanRequest& request) {
  Plan plan;
  LookAtServer(plan);
  ArchiveView view;
  view.exists = ListForPlan(ArchiveSubdirectory(), view.listed);
  if (!request.prune) NoteInterrupted(view, plan);
  if (arcdelinfo.arc_flg == 0) {
    if (!request.prune) plan.notes.emplace_back("archiving is off: the run only removes");
  } else if (!PlanArchiving(request, view, plan)) {
    return plan;
  }
  if (request.prune) {
    // Without limits and period such a run archives nothing; it may fail there all the same.
    plan.steps.clear();
    PlanPruning(plan);
  } else {
    PlanRemoval(view, plan);
  }
  return plan;
}
