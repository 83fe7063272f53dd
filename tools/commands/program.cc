// psltool as a program: see the header.
#include "tools/commands/program.h"

#include <string>

#include "platform/version.h"
#include "tools/commands/commands.h"

namespace psltool {

namespace {

void AddCommands(Command& program, int& status) {
  for (const CommandRow& row : Commands()) {
    Command* command = program.AddCommand(row.name, row.summary)->Under(row.purpose);
    command->Footer(row.help);
    row.add(*command, status);
  }
}

}  // namespace

const Program& PsltoolProgram() {
  static const std::string version = std::string("psltool     Version ") + kVersion;
  static const Program program = {
      "psltool",
      version.c_str(),
      "psltool shows, proves, mends and makes logs (.psl) and archives (.psa) of the performance\n"
      "monitor, and looks after automatic archiving.",
      "Examples:\n"
      "  psltool make --arrays 2 --days 3 -o logs\n"
      "  psltool info logs\n"
      "  psltool show logs/20240304array01.psl --kind ld --key 1\n"
      "  psltool show --help\n\n"
      "Exit status of all commands: 0 done, 1 findings or a broken file, 2 a file could not be\n"
      "read or written, or the command line is wrong. COMMAND --help tells it in detail.",
      AddCommands,
      "compare"};
  return program;
}

}  // namespace psltool
