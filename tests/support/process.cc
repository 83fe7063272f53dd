// Running programs: see the header. Outputs go to anonymous files, so a program can write any
// amount without anybody reading.
#include "tests/support/process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

namespace {

constexpr int kCannotStart = 127;
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

[[noreturn]] void Execute(const std::string& program, const std::vector<std::string>& arguments,
                          const ProgramSettings& settings, int out, int err) {
  const int null = open("/dev/null", O_RDONLY);
  if (dup2(null, 0) == -1 || dup2(out, 1) == -1 || dup2(err, 2) == -1) _exit(kCannotStart);
  if (!settings.directory.empty() && chdir(settings.directory.c_str()) != 0) _exit(kCannotStart);
  setenv("LC_ALL", "C", 1);
  setenv("TZ", "UTC", 1);
  for (const auto& [name, value] : settings.variables) setenv(name.c_str(), value.c_str(), 1);
  std::vector<char*> argv{const_cast<char*>(program.c_str())};
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  execv(program.c_str(), argv.data());
  _exit(kCannotStart);
}

}  // namespace

RunningProgram::RunningProgram(const std::string& program,
                               const std::vector<std::string>& arguments,
                               const ProgramSettings& settings)
    : out_(AnonymousFile()), err_(AnonymousFile()) {
  fflush(nullptr);
  pid_ = fork();
  if (pid_ == -1) throw std::runtime_error("fork");
  if (pid_ == 0) Execute(program, arguments, settings, out_, err_);
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
