// Nights of a server: the built archiver started with a clock, a time zone and disturbances of its
// own, and what it leaves behind.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/runs/server.h"

using Variables = std::vector<std::pair<std::string, std::string>>;

// Why nothing can be preloaded into the programs under test, or empty when it can.
std::string NoPreloading();

// Skips the test where the clock of the program under test cannot be set.
#define SKIP_WITHOUT_PRELOADING()                                     \
  do {                                                                \
    if (const std::string reason = NoPreloading(); !reason.empty()) { \
      GTEST_SKIP() << reason;                                         \
    }                                                                 \
  } while (false)

// Seconds since the epoch of a local time "2024-03-04 00:30:00" in a zone.
int64_t LocalTimeIn(const std::string& zone, const std::string& text);

// A log or archive of 0x1D as it lies in a directory of nights: of noon of the day in its name.
std::string FileOfDay(const std::string& name, char level);

// A time and place for a run.
struct Clock {
  int64_t now;
  std::string zone = "UTC";
};
inline Clock ClockAt(const std::string& text, const std::string& zone = "UTC") {
  return {LocalTimeIn(zone, text), zone};
}

// Variables that stop the program's clock at that time and load the disturbing library, whose own
// variables `disturb` gives.
Variables NightVariables(const Clock& clock, const Variables& disturb = {});

// A run of "-auto -mode svr" that goes on beside the test.
class NightRun {
 public:
  NightRun(const TestServer& server, const Variables& variables,
           const std::vector<std::string>& more = {});
  ~NightRun();
  NightRun(const NightRun&) = delete;
  NightRun& operator=(const NightRun&) = delete;

  RunningProgram& program() { return *program_; }
  ProgramResult Wait() { return program_->Wait(); }

 private:
  SharedSegment segment_;
  std::unique_ptr<RunningProgram> program_;
};

// One whole run.
ProgramResult RunNight(const TestServer& server, const Clock& clock, const Variables& disturb = {});

// What a file below the test prefix gets from now on.
class AddedText {
 public:
  explicit AddedText(std::string name);
  std::string Text() const;
  static AddedText OperationLog() { return AddedText("etc/log/operation.log"); }
  static AddedText Trace() { return AddedText("etc/trace/Qelprfarc.trc"); }

 private:
  std::string path_;
  size_t size_;
};

// Contents of the files of the archive directory and of "archive" in it, by relative path.
std::map<std::string, std::string> FilesOf(const TestServer& server);

// Logs by `psltool make` into a directory. Options come on top of a few small resources.
void MakeLogs(const std::string& directory, const std::vector<std::string>& options,
              const std::string& zone = "UTC");
