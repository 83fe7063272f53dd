// psltool: makes and shows files of the performance monitor. Each command is one file cmd_<name>.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "tools/cmd_audit.h"
#include "tools/cmd_check.h"
#include "tools/cmd_dump.h"
#include "tools/cmd_explain.h"
#include "tools/cmd_health.h"
#include "tools/cmd_info.h"
#include "tools/cmd_make.h"
#include "tools/cmd_salvage.h"
#include "tools/cmd_segment.h"
#include "tools/cmd_show.h"
#include "tools/report.h"

int main(int argc, char** argv) {
  int status = kDone;
  CLI::App app(
      "psltool makes and shows logs (.psl) and archives (.psa) of the performance monitor.");
  app.name("psltool");
  app.set_version_flag("--version", "psltool     Version 7.4.003");
  app.require_subcommand(1);
  app.footer(
      "Examples:\n"
      "  psltool make --arrays 2 --days 3 -o logs\n"
      "  psltool show archive/20240304array01.psa --kind ld --key 21\n"
      "  psltool make --help");
  AddAuditCommand(app, status);
  AddCheckCommand(app, status);
  AddDumpCommand(app, status);
  AddExplainCommand(app, status);
  AddInfoCommand(app, status);
  AddSalvageCommand(app, status);
  AddMakeCommand(app, status);
  AddShowCommand(app, status);
  AddSegmentCommand(app, status);
  AddHealthCommand(app, status);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kDone : kRefused;
  }
  if (std::fflush(stdout) != 0) {
    Fail("standard output", "cannot be written");
    return kFailed;
  }
  return status;
}
