// State of a run in tests: see the header.
#include "tests/support/run_state.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "archiver/lock.h"
#include "archiver/removal.h"
#include "archiver/segment.h"
#include "areas/finfo.h"
#include "engine/output_file.h"
#include "engine/unarchived.h"
#include "logdir/pmonlogdir.h"
#include "logdir/timespan.h"
#include "logdir/unread.h"
#include "platform/QelCM.h"
#include "platform/process.h"
#include "report/messages.h"
#include "report/runinfo.h"

namespace {

[[noreturn]] void ThrowEnd(int status) { throw ProcessEnded{status}; }

int64_t test_time = 0;

int64_t TestTime() { return test_time; }

}  // namespace

void ResetRunState() {
  FreeFileList();
  FreeDelList();
  TargetList = nullptr;
  Ntarget = 0;
  arcdelinfo = ArcDelInfo{};
  arcerrinfo = ArcErrInfo{};
  OptVerbose = 0;
  OutMsgNum = 0;
  sgmtr_dmpfile[0] = '\0';
  lockfile_path[0] = '\0';
  lockfile_fd = -1;
  shmptr = nullptr;
  shmsize = 0;
  ReleaseOutputFile();
  wfpath[0] = '\0';
  wfd = -1;
  rfd = -1;
  rfname = nullptr;
  arcdel_errflg = 0;
  auto_break_flg = 0;
  StartTime = 0;
  EndTime = 0;
  clock_hook = nullptr;
  unarchived = {};
  ForgetUnread();
  InitWorkArea();
}

EndProcessGuard::EndProcessGuard() : before_(end_process_hook) { end_process_hook = ThrowEnd; }

EndProcessGuard::~EndProcessGuard() { end_process_hook = before_; }

Capture::Capture(int fd) : fd_(fd), file_(memfd_create("capture", MFD_CLOEXEC)) {
  fflush(nullptr);
  saved_ = dup(fd);
  if (saved_ == -1 || file_ == -1 || dup2(file_, fd) == -1) throw std::runtime_error("capture");
}

Capture::~Capture() {
  fflush(nullptr);
  dup2(saved_, fd_);
  close(saved_);
  close(file_);
}

std::string Capture::Text() const {
  fflush(nullptr);
  std::string text;
  char buffer[4096];
  for (;;) {
    const ssize_t count = pread(file_, buffer, sizeof buffer, static_cast<off_t>(text.size()));
    if (count <= 0) return text;
    text.append(buffer, static_cast<size_t>(count));
  }
}

TimeZone::TimeZone(const char* value) {
  const char* before = getenv("TZ");
  was_set_ = before != nullptr;
  if (was_set_) before_ = before;
  setenv("TZ", value, 1);
  tzset();
}

TimeZone::~TimeZone() {
  if (was_set_) {
    setenv("TZ", before_.c_str(), 1);
  } else {
    unsetenv("TZ");
  }
  tzset();
}

void SetClock(const std::string& utc) {
  struct tm time {};
  const char* end = strptime(utc.c_str(), "%Y-%m-%d %H:%M:%S", &time);
  if (end == nullptr || *end != '\0') throw std::runtime_error("not a time: " + utc);
  test_time = timegm(&time);
  clock_hook = TestTime;
}
