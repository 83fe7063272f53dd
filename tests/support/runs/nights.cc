// Nights of a server: see the header.
#include "tests/support/runs/nights.h"

#include <semaphore.h>
#include <sys/mman.h>
#include <time.h>

#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"
#include "tests/support/sample_records.h"

std::string NoPreloading() {
#ifdef __SANITIZE_ADDRESS__
  return "libraries cannot be preloaded into programs built with the address sanitizer";
#else
  return std::string(FAKETIME_PATH).empty() ? "libfaketime is not installed" : "";
#endif
}

int64_t LocalTimeIn(const std::string& zone, const std::string& text) {
  const TimeZone guard(zone.c_str());
  tm fields{};
  const char* rest = strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &fields);
  if (rest == nullptr || *rest != '\0') throw std::runtime_error("no time: " + text);
  fields.tm_isdst = -1;
  return mktime(&fields);
}

std::string FileOfDay(const std::string& name, char level) {
  const std::string day = name.substr(0, 4) + "-" + name.substr(4, 2) + "-" + name.substr(6, 2);
  const auto time = static_cast<uint32_t>(LocalTimeIn("UTC", day + " 12:00:00"));
  return spell::HeaderRecord({.revision = 0x1D, .level = level, .time = time}) +
         spell::Structure(0x1D, {.time = time, .continuation = 1}) +
         spell::Statistics(0x1D, {.time = time + 60});
}

Variables NightVariables(const Clock& clock, const Variables& disturb) {
  constexpr char kLibraries[] = FAKETIME_PATH " " DISTURB_PATH;
  Variables variables;
  variables.emplace_back("TZ", clock.zone);
  variables.emplace_back("FAKETIME_FMT", "%s");
  variables.emplace_back("FAKETIME", std::to_string(clock.now));
  variables.emplace_back("NO_FAKE_STAT", "1");
  variables.emplace_back("LD_PRELOAD", kLibraries);
  variables.insert(variables.end(), disturb.begin(), disturb.end());
  return variables;
}

NightRun::NightRun(const TestServer& server, const Variables& variables,
                   const std::vector<std::string>& more)
    : segment_(server.segment) {
  std::vector<std::string> arguments{"-auto", "-mode", "svr", segment_.Id()};
  arguments.insert(arguments.end(), more.begin(), more.end());
  ProgramSettings settings;
  settings.variables = variables;
  program_ = std::make_unique<RunningProgram>(QELPRFARC_TEST_PATH, arguments, settings);
}

// A program that was killed leaves what libfaketime had shared with its children.
NightRun::~NightRun() {
  const std::string pid = std::to_string(program_->pid());
  program_.reset();
  shm_unlink(("/faketime_shm_" + pid).c_str());
  sem_unlink(("/faketime_sem_" + pid).c_str());
}

ProgramResult RunNight(const TestServer& server, const Clock& clock, const Variables& disturb) {
  return NightRun(server, NightVariables(clock, disturb)).Wait();
}

AddedText::AddedText(std::string name)
    : path_(QELPRFARC_TEST_PREFIX + std::move(name)), size_(TempDir::ReadFile(path_).size()) {}

std::string AddedText::Text() const { return TempDir::ReadFile(path_).substr(size_); }

std::map<std::string, std::string> FilesOf(const TestServer& server) {
  namespace fs = std::filesystem;
  std::map<std::string, std::string> files;
  const fs::path root = server.directory.Path("arc");
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    if (!entry.is_directory()) {
      files[fs::relative(entry.path(), root).string()] = TempDir::ReadFile(entry.path().string());
    }
  }
  return files;
}

void MakeLogs(const std::string& directory, const std::vector<std::string>& options,
              const std::string& zone) {
  std::vector<std::string> arguments{"make",   "-q",   "--force", "-o",   directory,
                                     "--none", "--ld", "3",       "--dp", "1"};
  if (std::find(options.begin(), options.end(), "--interval") == options.end()) {
    arguments.insert(arguments.end(), {"--interval", "1800"});
  }
  arguments.insert(arguments.end(), options.begin(), options.end());
  ProgramSettings settings;
  settings.variables = {{"TZ", zone}};
  const ProgramResult result = RunProgram(PSLTOOL_PATH, arguments, settings);
  if (result.status != 0) throw std::runtime_error("psltool make: " + result.err);
}
