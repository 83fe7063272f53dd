// psltool: makes and shows files of the performance monitor. Each command is one file cmd_<name>.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

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
#include "tools/nearest.h"
#include "tools/report.h"
#include "tools/shown.h"
#include "tools/unfinished.h"

namespace {

constexpr const char* kVersion = "psltool     Version 7.4.003";

// Also of the commands, and of theirs.
void AddVersion(CLI::App& app) {
  app.set_version_flag("--version", kVersion, "Print the version");
  for (CLI::App* command : app.get_subcommands(nullptr)) AddVersion(*command);
}

struct Asked {
  const CLI::App* app;  // the innermost command that was named
  std::string words;    // "psltool segment"
};

Asked AskedOf(const CLI::App* app) {
  Asked asked = {app, app->get_name()};
  while (!asked.app->get_subcommands().empty()) {
    asked.app = asked.app->get_subcommands().front();
    asked.words += " " + asked.app->get_name();
  }
  return asked;
}

std::vector<std::string> CommandsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands(nullptr)) names.push_back(command->get_name());
  return names;
}

std::vector<std::string> OptionsOf(const CLI::App& app) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
  }
  return names;
}

std::string NearestOf(const std::string& word, const std::vector<std::string>& words) {
  const std::string nearest = Nearest(word, words);
  return nearest.empty() ? "" : ", the nearest one is \"" + nearest + "\"";
}

// A wrong command line, in the words of all other failures. A mistyped command or option is told
// with the nearest one that there is.
std::string Refusal(const CLI::App* app, const CLI::Error& error) {
  const Asked asked = AskedOf(app);
  const std::vector<std::string> left = asked.app->remaining();
  const std::string word = left.empty() ? "" : left.front().substr(0, left.front().find('='));
  const std::vector<std::string> commands = CommandsOf(*asked.app);
  std::string why = error.what();
  std::string help = "options";
  if (word.starts_with("-")) {
    why += NearestOf(word, OptionsOf(*asked.app));
  } else if (!word.empty() && !commands.empty()) {
    why = "\"" + word + "\" is no command" + NearestOf(word, commands);
    help = "commands";
  }
  return "psltool: " + Shown(why) + "; " + asked.words + " --help tells the " + help + "\n";
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
