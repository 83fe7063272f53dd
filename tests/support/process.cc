// Running programs: see the header. Outputs go to anonymous files, so a program can write any
// amount without anybody reading.
#include "tests/support/process.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <stdexcept>
#include <utility>
#include <vector>

namespace {

constexpr int kThrown = 99;

int AnonymousFile() {
  const int fd = memfd_create("output", MFD_CLOEXEC);
  if (fd == -1) throw std::runtime_error("memfd_create");
  return fd;
}

std::string ReadAll(int fd) {
  std::string text;
  char buffer[4096];
  off_t position = 0;
  for (;;) {
    const ssize_t count = pread(fd, buffer, sizeof buffer, position);
    if (count <= 0) return text;
    text.append(buffer, static_cast<size_t>(count));
    position += count;
  }
}

// The environment of the tests with those variables in it, as NAME=VALUE.
std::vector<std::string> EnvironmentWith(
    const std::vector<std::pair<std::string, std::string>>& more) {
  std::map<std::string, std::string> variables;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const size_t equals = text.find('=');
    if (equals != std::string::npos) variables[text.substr(0, equals)] = text.substr(equals + 1);
  }
  variables["LC_ALL"] = "C";
  variables["TZ"] = "UTC";
  // What the programs under test look for, and whoever runs the tests may use.
  for (const char* name : {"PSLTOOL_LABELS", "QelPMON_EMBSYSVOL"}) variables.erase(name);
  for (const auto& [name, value] : more) variables[name] = value;
  std::vector<std::string> entries;
  for (const auto& [name, value] : variables) entries.push_back(name + "=" + value);
  return entries;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

void Check(int error, const char* call) {
  if (error != 0) throw std::runtime_error(call + std::string(": ") + strerror(error));
}

// Programs under test that were built for another processor are started by an emulator, which the
// environment names: the kernel does not know them, and an emulator is not there for what the
// programs that it runs start in turn. The compiler and the system's own programs are this
// machine's.
std::vector<std::string> CommandLine(const std::string& program,
                                     const std::vector<std::string>& arguments) {
  std::vector<std::string> words;
  if (const char* emulator = getenv("QELPRFARC_EMULATOR"); emulator != nullptr) {
    for (const char* built : {QELPRFARC_PATH, QELPRFARC_TEST_PATH, PSLTOOL_PATH}) {
      if (program == built) words = {"/usr/bin/env", emulator};
    }
  }
  words.push_back(program);
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

// Not by fork: to copy the tables of a large test program takes longer than many a program runs.
// Signals are as a login shell leaves them: who starts the tests with nohup or behind "&" has some
// ignored, and programs keep it so.
pid_t Start(const std::string& program, const std::vector<std::string>& arguments,
            const ProgramSettings& settings, int out, int err) {
  std::vector<std::string> words = CommandLine(program, arguments);
  std::vector<std::string> variables = EnvironmentWith(settings.variables);
  posix_spawn_file_actions_t actions;
  Check(posix_spawn_file_actions_init(&actions), "posix_spawn_file_actions_init");
  int error = posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  if (error == 0) error = posix_spawn_file_actions_adddup2(&actions, out, 1);
  if (error == 0) error = posix_spawn_file_actions_adddup2(&actions, err, 2);
  if (error == 0 && !settings.directory.empty()) {
    error = posix_spawn_file_actions_addchdir_np(&actions, settings.directory.c_str());
  }
  sigset_t signals;
  posix_spawnattr_t attributes;
  Check(posix_spawnattr_init(&attributes), "posix_spawnattr_init");
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  sigfillset(&signals);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  pid_t pid = -1;
  if (error == 0) {
    error = posix_spawn(&pid, words[0].c_str(), &actions, &attributes, Pointers(words).data(),
                        Pointers(variables).data());
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  Check(error, program.c_str());
  return pid;
}

}  // namespace

RunningProgram::RunningProgram(const std::string& program,
                               const std::vector<std::string>& arguments,
                               const ProgramSettings& settings)
    : out_(AnonymousFile()), err_(AnonymousFile()) {
  pid_ = Start(program, arguments, settings, out_, err_);
}

RunningProgram::~RunningProgram() {
  if (!reaped_) {
    kill(pid_, SIGKILL);
    WaitForChild(pid_);
  }
  close(out_);
  close(err_);
}

ProgramResult RunningProgram::Wait() {
  const int status = WaitForChild(pid_);
  reaped_ = true;
  return {status, ReadAll(out_), ReadAll(err_), pid_};
}

ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const ProgramSettings& settings) {
  return RunningProgram(program, arguments, settings).Wait();
}

int ExitStatus(int wait_status) {
  return WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : 128 + WTERMSIG(wait_status);
}

pid_t ForkChild(int (*body)(void*), void* context) {
  fflush(nullptr);
  const pid_t pid = fork();
  if (pid == -1) throw std::runtime_error("fork");
  if (pid != 0) return pid;
  int status = kThrown;
  try {
    status = body(context);
  } catch (...) {
  }
  // No exit handlers: they belong to the test program.
  _exit(status);
}

int WaitForChild(pid_t pid) {
  int status = 0;
  while (waitpid(pid, &status, 0) == -1) {
    if (errno != EINTR) throw std::runtime_error("waitpid");
  }
  return ExitStatus(status);
}
