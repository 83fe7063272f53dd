// psltool: makes and shows files of the performance monitor. Each command is one file cmd_<name>.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>

#include "tools/cmd_audit.h"
#include "tools/cmd_check.h"
#include "tools/cmd_dump.h"
#include "tools/cmd_explain.h"
#include "tools/cmd_export.h"
#include "tools/cmd_health.h"
#include "tools/cmd_info.h"
#include "tools/cmd_make.h"
#include "tools/cmd_plan.h"
#include "tools/cmd_salvage.h"
#include "tools/cmd_seal.h"
#include "tools/cmd_segment.h"
#include "tools/cmd_show.h"
#include "tools/cmd_top.h"
#include "tools/cmd_units.h"
#include "tools/report.h"
#include "tools/unfinished.h"

namespace {

constexpr const char* kVersion = "psltool     Version 7.4.003";

// Also of the commands, and of theirs.
void AddVersion(CLI::App& app) {
  app.set_version_flag("--version", kVersion, "Print the version");
  for (CLI::App* command : app.get_subcommands(nullptr)) AddVersion(*command);
}

// A wrong command line, in the words of all other failures.
std::string Refusal(const CLI::App* app, const CLI::Error& error) {
  std::string command = app->get_name();
  for (const CLI::App* at = app; !at->get_subcommands().empty();) {
    at = at->get_subcommands().front();
    command += " " + at->get_name();
  }
  return std::string("psltool: ") + error.what() + "; " + command + " --help tells the options\n";
}

int Run(int argc, char** argv) {
  int status = kDone;
  CLI::App app(
      "psltool makes and shows logs (.psl) and archives (.psa) of the performance monitor.");
  app.name("psltool");
  app.require_subcommand(1);
  app.failure_message(Refusal);
  app.footer(
      "Examples:\n"
      "  psltool make --arrays 2 --days 3 -o logs\n"
      "  psltool show archive/20240304array01.psa --kind ld --key 21\n"
      "  psltool make --help\n\n"
      "Exit status of all commands: 0 done, 1 findings or a broken file, 2 a file could not be\n"
      "read or written, or the command line is wrong. COMMAND --help tells it in detail.");
  AddAuditCommand(app, status);
  AddCheckCommand(app, status);
  AddDumpCommand(app, status);
  AddExplainCommand(app, status);
  AddExportCommand(app, status);
  AddInfoCommand(app, status);
  AddSalvageCommand(app, status);
  AddSealCommand(app, status);
  AddMakeCommand(app, status);
  AddShowCommand(app, status);
  AddTopCommand(app, status);
  AddSegmentCommand(app, status);
  AddHealthCommand(app, status);
  AddPlanCommand(app, status);
  AddUnitsCommand(app, status);
  AddUnitCommand(app, status);
  AddVersion(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    status = app.exit(error) == 0 ? kDone : kRefused;
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    // A command that noticed by itself has told.
    if (status == kDone) static_cast<void>(Fail("standard output", "cannot be written"));
    return kUnusable;
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
  return kUnusable;
}
