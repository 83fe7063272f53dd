// psltool: makes and shows files of the performance monitor. Each command is one file
// commands/cmd_<name>.
#include <unistd.h>

#include <cstdio>
#include <exception>
#include <new>

#include "tools/commands/command_line.h"
#include "tools/commands/program.h"
#include "tools/output/report.h"
#include "tools/output/unfinished.h"

using namespace psltool;

namespace {

int Run(int argc, char** argv) {
  const int status = RunCommandLine(PsltoolProgram(), kExitRefused, argc, argv);
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    // A command that noticed by itself has told.
    if (status == kExitDone) Fail("standard output", "cannot be written");
    return kExitUnusable;
  }
  return status;
}

// To tell it must not need any.
[[noreturn]] void OutOfMemory() {
  constexpr char kText[] = "psltool: memory: exhausted\n";
  static_cast<void>(!write(STDERR_FILENO, kText, sizeof kText - 1));
  RemoveUnfinished();
  _exit(kExitUnusable);
}

}  // namespace

int main(int argc, char** argv) {
  std::set_new_handler(OutOfMemory);
  SetSignals();
  try {
    return Run(argc, argv);
  } catch (const std::exception& error) {
    Fail("unexpected", error.what());
  }
  return kExitUnusable;
}
