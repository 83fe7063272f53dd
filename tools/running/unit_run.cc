// One unit of archiving work: see the header. All that is unfinished lies in "<outputs>/.units":
// "<level>-<unit>.lock" and the directory "<level>-<unit>", in which the archiver writes. The lock
// is held by the archiver too, so that an archiver whose parent was killed is waited for, not
// joined.
#include "tools/running/unit_run.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/names.h"
#include "tools/output/report.h"

namespace psltool {

namespace {

namespace fs = std::filesystem;

bool FailWithError(const std::string& what) { return Fail(what, strerror(errno)); }

bool MakeDirectory(const std::string& path) {
  if (mkdir(path.c_str(), 0777) == 0 || errno == EEXIST) return true;
  return FailWithError(path);
}

// The right to work on one unit, among all processes that share the directory.
class UnitLock {
 public:
  explicit UnitLock(std::string path) : path_(std::move(path)) {}
  ~UnitLock() {
    if (fd_ == -1) return;
    // Removed while it is held: whoever waits for it finds that the name has gone.
    unlink(path_.c_str());
    close(fd_);
  }
  UnitLock(const UnitLock&) = delete;
  UnitLock& operator=(const UnitLock&) = delete;

  // Waits for it. False: reported.
  bool Take(const std::string& directory) {
    for (;;) {
      if (!MakeDirectory(directory)) return false;
      // Writable, as locks over NFS want it; and inherited by the archiver.
      const int fd = open(path_.c_str(), O_RDWR | O_CREAT, 0666);
      if (fd == -1 && errno == ENOENT) continue;  // the last unit took the directory away
      if (fd == -1) return FailWithError(path_);
      while (flock(fd, LOCK_EX) != 0) {
        if (errno == EINTR) continue;
        FailWithError(path_);
        close(fd);
        return false;
      }
      struct stat held {};
      struct stat named {};
      const bool looked =
          fstat(fd, &held) == 0 && (stat(path_.c_str(), &named) == 0 || errno == ENOENT);
      if (looked && held.st_ino == named.st_ino && held.st_dev == named.st_dev) {
        fd_ = fd;
        return true;
      }
      if (!looked) FailWithError(path_);
      close(fd);
      if (!looked) return false;
      // The one that held it is done and has taken the name away.
    }
  }

 private:
  std::string path_;
  int fd_ = -1;
};

std::string FindArchiver() {
  char path[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
  if (length > 0) {
    const fs::path beside =
        fs::path(std::string(path, static_cast<size_t>(length))).parent_path() / "Qelprfarc";
    if (access(beside.c_str(), X_OK) == 0) return beside.string();
  }
  return "Qelprfarc";
}

// Runs a program; its messages go where ours go. Its wait status, or -1: reported.
int RunProgram(const std::vector<std::string>& words) {
  std::vector<char*> arguments;
  arguments.reserve(words.size() + 1);
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  constexpr int kNotStarted = 127;
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child == -1) {
    FailWithError("fork");
    return -1;
  }
  if (child == 0) {
    // It must not outlive us: its work would be in the way of the next start.
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(kNotStarted);
    execvp(arguments[0], arguments.data());
    FailWithError(words[0]);
    _exit(kNotStarted);
  }
  int status = 0;
  while (waitpid(child, &status, 0) == -1) {
    if (errno == EINTR) continue;
    FailWithError("waitpid");
    return -1;
  }
  return WIFEXITED(status) && WEXITSTATUS(status) == kNotStarted ? -1 : status;
}

bool SyncPath(const std::string& path, int flags) {
  const int fd = open(path.c_str(), flags | O_CLOEXEC);
  if (fd == -1) return FailWithError(path);
  const bool synced = fsync(fd) == 0;
  const int error = errno;
  close(fd);
  return synced || Fail(path, strerror(error));
}

// Names of a directory that begin with `begin`.
bool NamesIn(const std::string& directory, const std::string& begin,
             std::vector<std::string>& names) {
  DIR* stream = opendir(directory.c_str());
  if (stream == nullptr) return FailWithError(directory);
  errno = 0;
  while (const dirent* entry = readdir(stream)) {
    const std::string_view name = entry->d_name;
    if (name.starts_with(begin) && name != "." && name != "..") names.emplace_back(name);
    errno = 0;
  }
  const int error = errno;
  closedir(stream);
  if (error != 0) return Fail(directory, strerror(error));
  // Sequels first, the unit's own name last: where that is, all are.
  std::sort(names.begin(), names.end());
  std::stable_partition(names.begin(), names.end(), IsSequelName);
  return true;
}

class UnitRunner {
 public:
  UnitRunner(const UnitRequest& request, const WorkUnit& unit)
      : request_(request), place_(request.place), unit_(unit), own_(place_.outputs + "/.units") {
    scratch_ = fmt::format("{}/{}-{}", own_, WordOf(place_.level), unit.name);
  }
  ~UnitRunner() {
    std::error_code ignored;
    fs::remove_all(scratch_, ignored);
  }
  UnitRunner(const UnitRunner&) = delete;
  UnitRunner& operator=(const UnitRunner&) = delete;

  UnitEnd Run() {
    // What is here belongs to a start that was killed: the lock is ours.
    std::error_code error;
    fs::remove_all(scratch_, error);
    if (error) return Trouble(scratch_, error.message());
    if (!MakeDirectory(scratch_)) return UnitEnd::kTrouble;
    const UnitEnd archived = Archive();
    return archived == UnitEnd::kMade ? Deliver() : archived;
  }

 private:
  static UnitEnd Trouble(const std::string& what, const std::string& why) {
    Fail(what, why);
    return UnitEnd::kTrouble;
  }
  UnitEnd Failed(const std::string& why) const {
    Fail("unit " + unit_.name, why);
    return UnitEnd::kNotMade;
  }

  UnitEnd Archive() const {
    std::vector<std::string> words = {
        request_.archiver.empty() ? FindArchiver() : request_.archiver, "-o", scratch_};
    if (place_.level == UnitLevel::kDay) words.emplace_back("-d");
    for (const UnitInput& input : unit_.inputs) {
      words.push_back(place_.inputs + "/" + input.name);
    }
    const int status = RunProgram(words);
    if (status == -1) return UnitEnd::kTrouble;
    if (WIFSIGNALED(status)) {
      return Failed(fmt::format("the archiver was ended by signal {}", WTERMSIG(status)));
    }
    if (WEXITSTATUS(status) != 0) return Failed("the archiver failed, see its message");
    // A log that grew meanwhile may be in the archive in part.
    WorkUnit now;
    if (!FindUnit(place_, unit_.name, now)) return UnitEnd::kNotMade;
    if (now.inputs != unit_.inputs) return Failed("its inputs changed meanwhile; start it again");
    return UnitEnd::kMade;
  }

  // Checks, syncs and renames.
  UnitEnd Deliver() const {
    std::vector<std::string> made;
    if (!NamesIn(scratch_, "", made)) return UnitEnd::kTrouble;
    const UnitEnd checked = Check(made);
    if (checked != UnitEnd::kMade) return checked;
    for (const std::string& name : made) {
      if (!SyncPath(scratch_ + "/" + name, O_RDONLY)) return UnitEnd::kTrouble;
    }
    for (const std::string& name : made) {
      const std::string to = place_.outputs + "/" + name;
      if (rename((scratch_ + "/" + name).c_str(), to.c_str()) != 0) {
        return Trouble(to, strerror(errno));
      }
    }
    return SyncPath(place_.outputs, O_RDONLY | O_DIRECTORY) ? UnitEnd::kMade : UnitEnd::kTrouble;
  }

  UnitEnd Check(const std::vector<std::string>& made) const {
    const std::string wanted = ArchiveOf(unit_);
    if (std::find(made.begin(), made.end(), wanted) == made.end()) {
      return Failed(made.empty()
                        ? "the archiver made no archive"
                        : fmt::format("the archiver made {} instead of {}: names and headers of "
                                      "the inputs disagree, or the time zone is another",
                                      made.front(), wanted));
    }
    for (const std::string& name : made) {
      if (!IsArchiveOf(unit_.name, name)) {
        return Failed(fmt::format("the archiver made {}, too: the inputs hold more than one {}",
                                  name, place_.level == UnitLevel::kHour ? "day" : "month"));
      }
      std::string why;
      if (!IsSoundArchive(scratch_ + "/" + name, place_.level, true, why)) {
        return Failed(fmt::format("{} is not sound: {}", name, why));
      }
    }
    return CheckSequels(made);
  }

  // A sequel of an earlier start, from other inputs, would be taken for a part of this archive.
  UnitEnd CheckSequels(const std::vector<std::string>& made) const {
    std::vector<std::string> there;
    if (!NamesIn(place_.outputs, unit_.name, there)) return UnitEnd::kTrouble;
    for (const std::string& name : there) {
      if (IsArchiveOf(unit_.name, name) && name != ArchiveOf(unit_) &&
          std::find(made.begin(), made.end(), name) == made.end()) {
        return Failed(fmt::format("{}/{} is left from other inputs; remove it and start again",
                                  place_.outputs, name));
      }
    }
    return UnitEnd::kMade;
  }

  const UnitRequest& request_;
  const UnitPlace& place_;
  const WorkUnit& unit_;
  std::string own_;
  std::string scratch_;
};

// Directories above the outputs' own, too.
bool ProvideOutputs(const std::string& path) {
  std::error_code error;
  fs::create_directories(path, error);
  return !error || Fail(path, error.message());
}

}  // namespace

UnitEnd RunUnit(const UnitRequest& request, WorkUnit& unit) {
  // Looked up before anything is made, so that a wrong name leaves no directory.
  if (!FindUnit(request.place, request.name, unit)) return UnitEnd::kTrouble;
  if (!ProvideOutputs(request.place.outputs)) return UnitEnd::kTrouble;
  const std::string own = request.place.outputs + "/.units";
  UnitEnd end = UnitEnd::kTrouble;
  {
    UnitLock lock(fmt::format("{}/{}-{}.lock", own, WordOf(request.place.level), request.name));
    if (!lock.Take(own)) return UnitEnd::kTrouble;
    // Another start may have done it while this one waited.
    if (!FindUnit(request.place, request.name, unit)) return UnitEnd::kTrouble;
    // Takes away what a start left that could not, also where the unit is done.
    UnitRunner runner(request, unit);
    const bool done = unit.state == UnitState::kPresent && !request.again;
    end = done ? UnitEnd::kWasDone : runner.Run();
  }
  // Stays while other units are at work.
  rmdir(own.c_str());
  return end;
}

}  // namespace psltool
