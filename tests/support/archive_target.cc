// One archive run over given bytes: see the header.
#include "tests/support/archive_target.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <utility>

#include "areas/finfo.h"
#include "engine/QelprfarcMain.h"
#include "engine/header.h"
#include "engine/pmoncommon.h"
#include "logdir/pmonlogdir.h"
#include "platform/QelCM.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "revisions/sets/lookup.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace {

constexpr size_t kSlot = 64;

// The directory of all runs of the process. Making and removing one takes longer than most runs,
// and so do files: inputs are written over by the next run's of the same name.
class RunDirectory {
 public:
  RunDirectory() { directory_->MakeDirectory("archive"); }
  // Children that tests fork end as programs do: what is static is destroyed there, too.
  ~RunDirectory() {
    if (::getpid() != owner_) static_cast<void>(directory_.release());
  }
  RunDirectory(const RunDirectory&) = delete;
  RunDirectory& operator=(const RunDirectory&) = delete;

  const std::string& path() const { return path_; }

  // Puts inputs into the subdirectory ("": none), in place of those of the run before.
  void Place(const std::string& subdirectory, const std::vector<std::string>& names,
             std::span<const std::span<const uint8_t>> inputs) {
    std::set<std::string> paths;
    for (const std::string& name : names) paths.insert(path_ + subdirectory + name);
    for (const std::string& path : inputs_) {
      if (!paths.contains(path)) ::unlink(path.c_str());
    }
    inputs_ = std::move(paths);
    for (size_t i = 0; i < inputs.size(); ++i) Write(path_ + subdirectory + names[i], inputs[i]);
  }

  // Removes everything else and tells the names.
  std::vector<std::string> Empty() const {
    std::vector<std::string> left;
    for (const std::string& directory : {path_, path_ + "archive/"}) {
      DIR* const stream = ::opendir(directory.c_str());
      if (stream == nullptr) std::abort();
      while (const dirent* entry = ::readdir(stream)) {
        const std::string name = entry->d_name;
        if (name.starts_with(".") && name.find_first_not_of('.') == std::string::npos) continue;
        const std::string path = directory + name;
        if (inputs_.contains(path) || ::unlink(path.c_str()) != 0) continue;  // "archive"
        left.push_back(name);
      }
      ::closedir(stream);
    }
    return left;
  }

 private:
  static void Write(const std::string& path, std::span<const uint8_t> bytes) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    size_t done = 0;
    while (fd >= 0 && done < bytes.size()) {
      const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
      if (n <= 0) std::abort();
      done += static_cast<size_t>(n);
    }
    if (::ftruncate(fd, static_cast<off_t>(bytes.size())) != 0) std::abort();
    ::close(fd);
  }

  const pid_t owner_ = ::getpid();
  std::unique_ptr<TempDir> directory_ = std::make_unique<TempDir>();
  const std::string path_ = directory_->Path("");
  std::set<std::string> inputs_;
};

std::vector<std::string> InputNames(size_t count, char level) {
  std::vector<std::string> names;
  for (size_t i = 0; i < count; ++i) {
    char name[kSlot];
    std::snprintf(name, sizeof name, "20240101fz#%03zu.%s", i + 1, level == 'D' ? "psa" : "psl");
    names.emplace_back(name);
  }
  return names;
}

void SetTargets(const std::vector<std::string>& names) {
  FlistBuf = static_cast<char*>(Malloc(names.size() * kSlot));
  TargetList = static_cast<char**>(Malloc(names.size() * sizeof(char*)));
  Ntarget = static_cast<int32_t>(names.size());
  for (size_t i = 0; i < names.size(); ++i) {
    TargetList[i] = FlistBuf + i * kSlot;
    std::snprintf(TargetList[i], kSlot, "%s", names[i].c_str());
  }
}

void ResetRun() {
  if (finfo.utc_in_force) SwitchTimeZone(0);
  MemoryFree();
  arcdelinfo = ArcDelInfo{};
  arcerrinfo = ArcErrInfo{};
  pmonarc_stat = auto_break_flg = arcdel_errflg = OutMsgNum = 0;
  lastrectime = 0;
  usLdCursor = usPdCursor = 0;
  if (rfd >= 0) ::close(rfd);
  if (wfd >= 0) ::close(wfd);
  rfd = wfd = -1;
  wfpath[0] = '\0';
  InitWorkArea();
  std::snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "/dev/null");
}

}  // namespace

ArchiveTargetResult ArchiveBytes(std::span<const std::span<const uint8_t>> inputs,
                                 const ArchiveTargetOptions& options, const ArchiveLook& look) {
  static RunDirectory directory;
  const std::string& base = directory.path();
  const std::vector<std::string> names = InputNames(inputs.size(), options.level);
  const bool in_archive = options.automatic && options.level == 'D';
  directory.Place(in_archive ? "archive/" : "", names, inputs);

  ResetRun();
  arcdelinfo.ext_flg = 1;
  arcdelinfo.auto_flg = options.automatic ? 1 : 0;
  arcdelinfo.arc_flg = arcdelinfo.auto_flg;
  std::snprintf(arcdelinfo.arcdir, sizeof arcdelinfo.arcdir, "%s", base.c_str());
  finfo.optclass = kOptDirectory;
  finfo.level = options.level;
  finfo.path = base.c_str();
  ArchiveTargetResult result;
  result.status = StatusOf([&names] {
    SetTargets(names);
    InitArchiver();
    ArcMain();
  });
  result.abandoned = arcdel_errflg != 0;
  ResetRun();
  sgmtr_dmpfile[0] = '\0';
  if (look != nullptr) look(base, names, result);
  result.left = directory.Empty();
  return result;
}
