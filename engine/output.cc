// The output in progress: see the header.
#include "engine/output.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "archiver/messages.h"
#include "archiver/runinfo.h"
#include "engine/family.h"
#include "engine/finfo.h"
#include "engine/header.h"
#include "engine/input.h"
#include "engine/layout.h"
#include "engine/outname.h"
#include "engine/pmoncommon.h"
#include "platform/process.h"

Output output;

namespace {

constexpr uint32_t kDetOpenNew = 0x03020003;
constexpr uint32_t kDetOpenSequel = 0x03020004;
constexpr uint32_t kDetSync = 0x03020005;
constexpr uint32_t kDetClose = 0x03020006;
constexpr uint32_t kDetRename = 0x03020007;

std::vector<std::string> finished_paths;

[[noreturn]] void CannotCreate(int error, uint32_t detail) {
  LogMessage(102, wfpath, "open", error, detail);
  LogMessage(114, "archives");
  EndProcess(1);
}

// Opening truncates, so a path that holds an input or an archive of this run is refused before.
void CreateAtPath(uint32_t detail) {
  // A path that fills its buffer may have been cut, and would then be that of another file.
  if (std::strlen(wfpath) + 1 == sizeof wfpath) CannotCreate(ENAMETOOLONG, detail);
  const bool finished =
      std::find(finished_paths.begin(), finished_paths.end(), wfpath) != finished_paths.end();
  if (finished || IsInputFile(wfpath)) CannotCreate(EEXIST, detail);
  wfd = ::open(wfpath, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (wfd < 0) CannotCreate(errno, detail);
  output.active = true;
  output.revision = finfo.revision;
  finfo.output_has_structure = false;
  WriteHeaderRec();
}

// A failure while finishing: the automatic run keeps the temporary name and goes on.
void FinishFailed(const char* call, uint32_t detail) {
  LogMessage(111, wfname, call, errno, detail);
  if (arcdelinfo.auto_flg == 0) {
    if (wfd >= 0) ::close(wfd);
    wfd = -1;
    ::unlink(wfpath);
    EndProcess(1);
  }
  arcdel_errflg |= 1;
}

// Syncs (automatic runs, which rename afterwards) and closes. False when the data may not be on
// disk.
bool CloseOutput() {
  if (wfd < 0) return true;  // truncated after a broken record and closed already
  if (arcdelinfo.auto_flg != 0 && ::fsync(wfd) != 0) {
    FinishFailed("fsync", kDetSync);
    ::close(wfd);
    wfd = -1;
    return false;
  }
  const int fd = wfd;
  wfd = -1;
  if (::close(fd) == 0) return true;
  FinishFailed("close", kDetClose);
  return false;
}

// The new name must survive a power failure too.
void SyncDirectory(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

}  // namespace

void OpenNewOutput() {
  ForgetItemCounts();
  SetSubsystemName(finfo.array_name, rfname);
  SetWriteFname(wfname);
  SetWritePath(wfname);
  CreateAtPath(kDetOpenNew);
}

void OpenSequel() {
  SetSequelNames();
  CreateAtPath(kDetOpenSequel);
}

void RenameWriteFname(const char* name) {
  if (auto_break_flg != 0 && finfo.level == 'D') return;
  if (arcdelinfo.auto_flg == 0) return;
  constexpr size_t kMaxPath = 255;
  const size_t room = kMaxPath - std::min(kMaxPath, std::strlen(name) + std::strlen("archive/"));
  const std::string directory = std::string(arcdelinfo.arcdir).substr(0, room) + "archive/";
  const std::string from = directory + name;
  const std::string to = directory + std::string(name).substr(0, std::string(name).rfind('_'));
  // The day archive of an array named "15A" would take the name of an hour archive of "A": an input
  // of this run is never replaced, the archive keeps its temporary name.
  const bool taken = IsInputFile(to.c_str());
  if (taken) errno = EEXIST;
  if (taken || ::rename(from.c_str(), to.c_str()) != 0) {
    FinishFailed("rename", kDetRename);
    return;
  }
  SyncDirectory(directory);
}

void FinishOutput(int32_t end) {
  const bool on_disk = CloseOutput();
  // Without an input that could not be opened the archive would look complete: a later run makes
  // it.
  const bool incomplete = arcdelinfo.auto_flg != 0 && output.last_input != nullptr &&
                          LacksInputOf(output.last_input, finfo.level);
  if (on_disk && !incomplete) RenameWriteFname(wfname);
  finished_paths.emplace_back(wfpath);
  OutMsg(end);
  output = Output{};
}

void ForgetOutputs() {
  finished_paths.clear();
  output = Output{};
}
