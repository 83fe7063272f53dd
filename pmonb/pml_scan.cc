// The steps of the pruning before its decision: volume check, scan of the subdirectories, count.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "pmonb/pml_detail.h"
#include "pmonb/pml_dir.h"
#include "pmonb/pml_system.h"
#include "pmonb/pml_work.h"

namespace {

constexpr double kTwoTo32 = 4294967296.0;
constexpr mode_t kDirectoryMode = 0755;

// One volume: mounted, absent (noted in `skip`), or a failure.
bool CheckVolume(PmlWork& work, const std::string& path, uint32_t unexpected) {
  PmlErrorBlock block{};
  switch (pml_system.check_volume(path.c_str(), &block)) {
    case 0:
      return true;
    case 2:
      work.skip = kPmlSkipped;
      return true;
    case 4:
      return PmlFailure(work, block.detail, block.text, block.err_no);
    case 5:
      return PmlFailure(work, block.detail, "program error", block.err_no);
    default:
      return PmlFailure(work, unexpected, "program error", 0);
  }
}

// Number that a name of two upper-case hexadecimal digits stands for, -1 for other names.
int SubdirectoryNumber(std::string_view name) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  if (name.size() != 2) return -1;
  const size_t high = kDigits.find(name[0]);
  const size_t low = kDigits.find(name[1]);
  if (high == std::string_view::npos || low == std::string_view::npos) return -1;
  return static_cast<int>(high * 16 + low);
}

bool LeftOutOfCounting(const PmlWork& work, uint32_t number) {
  const PmlDelParam& param = *work.param;
  if (!work.mode->filtered) return false;
  return (param.dir_flags[number] & (kPmlDirExists | kPmlDirExcluded)) != kPmlDirExists;
}

enum class Presence { kPresent, kAbsent, kFailed };

// Whether subdirectory `number` is there; makes it in modes that create, where it then counts as
// absent: it is empty.
Presence LookForSubdirectory(PmlWork& work, uint32_t number) {
  const std::string path = SubdirectoryPath(work, number);
  struct stat status {};
  if (pml_system.status(path.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return Presence::kPresent;
    PmlFailure(work, kPmlDetNotDir, "stat", ENOTDIR);
    return Presence::kFailed;
  }
  if (errno != ENOENT) {
    PmlFailure(work, kPmlDetStatDir, "stat", errno);
    return Presence::kFailed;
  }
  if (work.mode->create && pml_system.make_dir(path.c_str(), kDirectoryMode) != 0) {
    PmlFailure(work, kPmlDetMkdir, "mkdir", errno);
    return Presence::kFailed;
  }
  return Presence::kAbsent;
}

bool CountDirectory(PmlWork& work, const std::string& path, double& running) {
  PmlDelParam& param = *work.param;
  PmlDirectory directory(path.c_str());
  if (!directory.is_open()) return PmlFailure(work, kPmlDetCountOpen, "opendir", errno);
  while (const char* name = directory.Next()) {
    if (!IsPmlName(name)) continue;
    struct stat status {};
    if (pml_system.status((path + "/" + name).c_str(), &status) != 0) {
      return PmlFailure(work, kPmlDetCountStat, "stat", errno);
    }
    if (S_ISDIR(status.st_mode)) continue;
    param.file_count += 1;
    param.total_lo += static_cast<uint32_t>(status.st_size);
    running += static_cast<double>(status.st_size);
    if (running >= kTwoTo32) {
      param.total_hi = static_cast<uint32_t>(std::min(running / kTwoTo32, kTwoTo32 - 1));
    }
  }
  if (directory.error() != 0) {
    return PmlFailure(work, kPmlDetCountClose, "readdir", directory.error());
  }
  if (!directory.Close()) return PmlFailure(work, kPmlDetCountClose, "closedir", errno);
  return true;
}

}  // namespace

std::string SubdirectoryPath(const PmlWork& work, uint32_t number) {
  // Without a base directory "/00" would be a directory below the root.
  if (work.base.empty()) return "";
  char name[8];
  snprintf(name, sizeof name, "/%02X", number & 0xFFFF);
  return work.directory + name;
}

bool IsPmlName(const char* name) {
  constexpr std::string_view kSuffix = ".pml";
  const std::string_view text = name;
  return text.size() > kSuffix.size() && text.ends_with(kSuffix);
}

bool CheckVolumes(PmlWork& work) {
  if (!work.mode->volume_check) return true;
  return CheckVolume(work, work.base, kPmlDetVolumeBase) &&
         CheckVolume(work, work.staging, kPmlDetVolumeStaging);
}

void ApplyVolumeOverride(PmlWork& work) {
  const char* value = getenv("QelPMON_EMBSYSVOL");
  if (value == nullptr) return;
  if (strcmp(value, "yes") == 0) work.skip.reset();
  if (strcmp(value, "no") == 0) work.skip = kPmlSkipped;
}

bool ScanSubdirectories(PmlWork& work) {
  PmlDelParam& param = *work.param;
  if ((param.scan_flags & kPmlScanned) != 0 || work.mode->staging) return true;
  PmlDirectory directory(work.directory.c_str());
  if (!directory.is_open()) return PmlFailure(work, kPmlDetScanOpen, "opendir", errno);
  while (const char* name = directory.Next()) {
    const int number = SubdirectoryNumber(name);
    if (number >= 0) param.dir_flags[number] |= kPmlDirExists;
  }
  if (directory.error() != 0) {
    return PmlFailure(work, kPmlDetScanClose, "readdir", directory.error());
  }
  if (!directory.Close()) return PmlFailure(work, kPmlDetScanClose, "closedir", errno);
  param.scan_flags |= kPmlScanned;
  return true;
}

bool CountFiles(PmlWork& work) {
  if (work.mode->no_counting) return true;
  work.param->total_hi = 0;
  work.param->total_lo = 0;
  work.param->file_count = 0;
  double running = 0;
  for (uint32_t i = 0; i < work.dir_count; ++i) {
    const uint32_t number = work.first_dir + i;
    if (LeftOutOfCounting(work, number)) continue;
    const Presence presence = LookForSubdirectory(work, number);
    if (presence == Presence::kFailed) return false;
    if (presence == Presence::kAbsent) continue;
    const std::string path = work.mode->staging ? work.staging : SubdirectoryPath(work, number);
    if (!CountDirectory(work, path, running)) return false;
  }
  return true;
}
