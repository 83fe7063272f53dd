// Runs a program as a user would: arguments, working directory and environment in, exit status and
// both outputs out.
#pragma once

#include <sys/types.h>

#include <string>
#include <utility>
#include <vector>

struct ProgramResult {
  int status;  // exit status, or 128 + the signal that ended the program
  std::string out;
  std::string err;
  pid_t pid;
};

struct ProgramSettings {
  std::string directory;                                       // empty: the caller's
  std::vector<std::pair<std::string, std::string>> variables;  // besides LC_ALL=C and TZ=UTC
};

// A program that is running; its outputs are collected in memory. The destructor kills and reaps it
// when it was not waited for.
class RunningProgram {
 public:
  RunningProgram(const std::string& program, const std::vector<std::string>& arguments,
                 const ProgramSettings& settings = {});
  ~RunningProgram();
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;

  pid_t pid() const { return pid_; }

  // Waits for its end.
  ProgramResult Wait();

 private:
  pid_t pid_ = -1;
  bool reaped_ = false;
  int out_ = -1;
  int err_ = -1;
};

// Runs a program to its end.
ProgramResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const ProgramSettings& settings = {});

// Runs `body` in a forked child, which ends with the status that `body` returns, or with 99 when it
// throws. Returns as ProgramResult::status does.
template <typename Body>
int RunInChild(Body body);

// Exit status of a waitpid status, as in ProgramResult.
int ExitStatus(int wait_status);

// The two halves of RunInChild, for children that must run beside the test.
pid_t ForkChild(int (*body)(void*), void* context);
int WaitForChild(pid_t pid);

template <typename Body>
int RunInChild(Body body) {
  return WaitForChild(ForkChild([](void* context) { return (*static_cast<Body*>(context))(); },
                                static_cast<void*>(&body)));
}
