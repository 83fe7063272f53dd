// psltool: makes and shows files of the performance monitor. Each command is one file
// commands/cmd_<name>.
#include <cstdio>
#include <exception>
#include <new>

#include "tools/commands/command_line.h"
#include "tools/commands/commands.h"
#include "tools/output/report.h"
#include "tools/output/unfinished.h"

using namespace psltool;

namespace {

void AddCommands(Command& program, int& status) {
  for (const CommandRow& row : Commands()) {
    Command* command = program.AddCommand(row.name, row.summary)->Under(row.purpose);
    command->Footer(row.help);
    row.add(*command, status);
  }
}

constexpr Program kPsltool = {
    "psltool", "psltool     Version 7.4.003",
    "psltool shows, proves, mends and makes logs (.psl) and archives (.psa) of the performance\n"
    "monitor, and looks after automatic archiving.",
    "Examples:\n"
    "  psltool make --arrays 2 --days 3 -o logs\n"
    "  psltool info logs\n"
    "  psltool show logs/20240304array01.psl --kind ld --key 1\n"
    "  psltool show --help\n\n"
    "Exit status of all commands: 0 done, 1 findings or a broken file, 2 a file could not be\n"
    "read or written, or the command line is wrong. COMMAND --help tells it in detail.",
    AddCommands};

int Run(int argc, char** argv) {
  const int status = RunCommandLine(kPsltool, kExitRefused, argc, argv);
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    // A command that noticed by itself has told.
    if (status == kExitDone) static_cast<void>(Fail("standard output", "cannot be written"));
    return kExitUnusable;
  }
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  SetSignals();
  try {
    return Run(argc, argv);
  } catch (const std::bad_alloc&) {
    static_cast<void>(Fail("memory", "exhausted"));
  } catch (const std::exception& error) {
    static_cast<void>(Fail("unexpected", error.what()));
  }
  return kExitUnusable;
}
