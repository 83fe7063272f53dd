// The working directory of automatic runs: see the header.
#include "archiver/workdir.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/places.h"
#include "report/messages.h"
#include "report/runinfo.h"

namespace {

constexpr uint32_t kDetMkdir = 0x03010007;
constexpr uint32_t kDetChdir = 0x03010008;
constexpr uint32_t kDetStat = 0x03010009;

bool Failed(const char* call, uint32_t detail) {
  LogMessage(113, nullptr, call, errno, detail);
  LogTaskFailed();
  return false;
}

}  // namespace

bool EnterWorkDirectory() {
  const std::string directory = std::string(arcdelinfo.rootdir) + kWorkDirectory;
  if (mkdir(directory.c_str(), 0777) != 0 && errno != EEXIST) return Failed("mkdir", kDetMkdir);
  if (chdir(directory.c_str()) != 0) return Failed("chdir", kDetChdir);
  struct stat status {};
  if (stat("core", &status) == 0) {
    rename("core", "core.old");
  } else if (errno != ENOENT) {
    return Failed("stat", kDetStat);
  }
  return true;
}
