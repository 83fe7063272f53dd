// Opening and checking inputs: see the header.
#include "engine/input.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <set>
#include <utility>
#include <vector>

#include "areas/finfo.h"
#include "engine/byteorder.h"
#include "engine/joining.h"
#include "engine/names.h"
#include "engine/output_file.h"
#include "engine/pmoncommon.h"
#include "engine/unarchived.h"
#include "platform/open.h"
#include "platform/places.h"
#include "platform/process.h"
#include "platform/transfer.h"
#include "report/messages.h"
#include "report/runinfo.h"

namespace {

constexpr unsigned kDetFirstOpen = 0x03020001;
constexpr size_t kMaxArchiveDirectory = 247;

std::set<std::pair<dev_t, ino_t>> input_files;  // manual runs
std::vector<std::string> unopened;              // automatic runs

}  // namespace

std::string InputPath(const char* name) {
  if ((finfo.optclass & kOptDirectory) == 0) return name;
  if (arcdelinfo.auto_flg != 0) {
    return std::string(arcdelinfo.arcdir).substr(0, kMaxArchiveDirectory) +
           (LiesInArchive(name) ? kArchivePart : "") + name;
  }
  return std::string(finfo.path != nullptr ? finfo.path : "") + name;
}

InputLook LookAtInput(const std::string& path) {
  InputLook look;
  const int fd = OpenToRead(path.c_str());
  if (fd < 0) {
    look.error = errno;
    return look;
  }
  look.opened = true;
  uint8_t bytes[kJudgedBytes] = {};
  struct stat status = {};
  // What has no positions counts as empty.
  if (::fstat(fd, &status) != 0) {
    look.error = errno;
  } else if (S_ISREG(status.st_mode) && !ReadBeginning(fd, status.st_size, bytes)) {
    look.error = errno != 0 ? errno : EIO;
  }
  ::close(fd);
  const int64_t size = S_ISREG(status.st_mode) ? status.st_size : 0;
  look.verdict = JudgeHeader(bytes, size, true, false);
  look.revision = bytes[kAtFlag];
  look.level = static_cast<char>(bytes[kAtLevel]);
  look.time = Load32(bytes + kAtTime);
  return look;
}

bool OpenInput(const char* name, unsigned detail) {
  rfname = name;
  const std::string path = InputPath(name);
  rfd = OpenToRead(path.c_str());
  if (rfd >= 0) return true;
  LogMessage(102, path.c_str(), "fopen", errno, detail);
  if (arcdelinfo.auto_flg == 0) LeaveOutputAndEnd();
  arcdel_errflg |= 1;
  unarchived.Note(name, finfo.level);
  unopened.emplace_back(name);
  return false;
}

void CloseInput() {
  ::close(rfd);
  rfd = -1;
}

void CheckInputs() {
  const bool automatic = arcdelinfo.auto_flg != 0;
  std::vector<char*> accepted;
  for (int32_t i = 0; i < Ntarget; ++i) {
    if (!OpenInput(TargetList[i], kDetFirstOpen)) continue;
    struct stat status = {};
    if (!automatic && ::fstat(rfd, &status) == 0) {
      input_files.emplace(status.st_dev, status.st_ino);
    }
    const int verdict = PreReadHeaderRec();
    CloseInput();
    if (verdict == -1) {
      if (!automatic) EndProcess(1);
      arcdel_errflg |= 1;
      unarchived.Note(TargetList[i], finfo.level);
    } else if (verdict == -2) {
      TargetList[i] = nullptr;
    } else {
      accepted.push_back(TargetList[i]);
    }
  }
  if (!automatic) return;
  std::free(static_cast<void*>(TargetList));
  TargetList = nullptr;
  Ntarget = static_cast<int32_t>(accepted.size());
  if (accepted.empty()) return;
  TargetList = static_cast<char**>(Malloc(accepted.size() * sizeof(char*)));
  std::memcpy(static_cast<void*>(TargetList), accepted.data(), accepted.size() * sizeof(char*));
}

bool IsInputFile(const char* path) {
  struct stat status = {};
  if (::stat(path, &status) != 0) return false;
  return input_files.contains({status.st_dev, status.st_ino});
}

bool LacksInputOf(const char* name, char level) { return LacksInput(unopened, name, level); }

void ForgetInputs() {
  input_files.clear();
  unopened.clear();
}
