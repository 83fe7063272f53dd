// Command lines and texts of `psltool units` and `psltool unit`.
#include "tools/commands/commands.h"

#include <errno.h>
#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/output/json.h"
#include "tools/output/report.h"
#include "tools/output/shell_word.h"
#include "tools/output/text_out.h"
#include "tools/running/unit_run.h"
#include "tools/running/units.h"

namespace psltool {

namespace {

enum class ListFormat : uint8_t { kCommands, kNames, kTsv, kJson };

struct UnitsOptions {
  UnitRequest request;
  std::string level = "hour";
  std::string directory;
  std::string output;
  bool all = false;
  bool not_over = false;
  bool zero = false;
  bool names = false;
  bool tsv = false;
  bool json = false;
};

struct UnitOptions {
  UnitsOptions common;
  std::vector<std::string> names;
  bool quiet = false;
};

// Commands are run wherever a scheduler likes.
std::string Absolute(const std::string& path) {
  std::string text = std::filesystem::absolute(path).lexically_normal().string();
  while (text.size() > 1 && text.ends_with('/')) text.pop_back();
  return text;
}

void SetPlace(UnitsOptions& options) {
  UnitPlace& place = options.request.place;
  place.level = options.level == "hour" ? UnitLevel::kHour : UnitLevel::kDay;
  place.inputs = Absolute(options.directory);
  // As automatic archiving has it: archives of both levels in "archive" below the logs.
  const bool beside = place.level == UnitLevel::kHour;
  place.outputs = !options.output.empty() ? Absolute(options.output)
                                          : place.inputs + (beside ? "/archive" : "");
}

// psltool as it was called: by its name when PATH finds it, else by its path.
std::string OwnName() {
  const std::string called = program_invocation_name;
  return called.find('/') == std::string::npos ? called : Absolute(called);
}

std::string CommandOf(const UnitsOptions& options, const WorkUnit& unit) {
  const UnitRequest& request = options.request;
  std::string command = fmt::format("{} unit --level {}", ShellWord(OwnName()), options.level);
  if (!request.archiver.empty()) command += " --archiver " + ShellWord(request.archiver);
  if (request.again) command += " --again";
  if (request.place.verify) command += " --verify";
  return fmt::format("{} -o {} {} {}", command, ShellWord(request.place.outputs),
                     ShellWord(request.place.inputs), ShellWord(unit.name));
}

const char* WordOf(UnitState state) {
  switch (state) {
    case UnitState::kPresent:
      return "done";
    case UnitState::kNotOver:
      return "not over";
    case UnitState::kDue:
      break;
  }
  return "due";
}

Json JsonOf(const UnitsOptions& options, const WorkUnit& unit) {
  Json inputs = Json::Array();
  for (const UnitInput& input : unit.inputs) inputs.Append(input.name);
  return {{"unit", unit.name},
          {"array", unit.array},
          {"day", unit.date},
          {"state", WordOf(unit.state)},
          {"inputs", inputs},
          {"bytes", unit.bytes},
          {"output", OutputOf(options.request.place, unit)},
          {"command", CommandOf(options, unit)}};
}

bool HasLineBreak(const std::string& text) { return text.find('\n') != std::string::npos; }

// A field of a table with tabs: what would end it is written as \t, \n or \\.
std::string Field(const std::string& text) {
  std::string field;
  for (const char c : text) {
    if (c == '\t') {
      field += "\\t";
    } else if (c == '\n') {
      field += "\\n";
    } else if (c == '\\') {
      field += "\\\\";
    } else {
      field += c;
    }
  }
  return field;
}

// False: the unit cannot be told in this form, reported.
bool Print(const UnitsOptions& options, const WorkUnit& unit, TextOut& out) {
  if (options.tsv) {
    out.Print("{}\t{}\t{}\t{}\t{}\t{}\n", Field(unit.array), unit.date, unit.inputs.size(),
              unit.bytes, Field(OutputOf(options.request.place, unit)),
              Field(CommandOf(options, unit)));
    return true;
  }
  const std::string text = options.names ? unit.name : CommandOf(options, unit);
  if (!options.zero && HasLineBreak(text)) {
    return Fail("unit " + unit.name, "its name or directory holds a line break; use -0");
  }
  out.Put(text);
  out.Put(options.zero ? std::string_view("\0", 1) : std::string_view("\n"));
  return true;
}

int List(UnitsOptions& options) {
  SetPlace(options);
  options.request.again = options.all;
  std::vector<WorkUnit> units;
  std::vector<std::string> left_out;
  if (!FindUnits(options.request.place, units, left_out)) return kExitUnusable;
  for (const std::string& name : left_out) {
    Fail(name, "is empty, its log was broken; no unit takes it");
  }
  TextOut out(stdout);
  Json list = Json::Array();
  bool complete = true;
  if (options.tsv) out.Put("array\tday\tinputs\tbytes\toutput\tcommand\n");
  for (const WorkUnit& unit : units) {
    if (unit.state == UnitState::kPresent && !options.all) continue;
    if (unit.state == UnitState::kNotOver && !options.not_over) continue;
    if (options.json) {
      list.Append(JsonOf(options, unit));
    } else {
      complete = Print(options, unit, out) && complete;
    }
  }
  if (options.json) {
    PutJson(list, out);
  }
  if (!out.FlushOrFail()) return kExitUnusable;
  return complete ? kExitDone : kExitFailed;
}

// One unit; its status.
int WorkOn(UnitsOptions& options, bool quiet) {
  WorkUnit unit;
  const UnitEnd end = RunUnit(options.request, unit);
  if (end == UnitEnd::kTrouble) return kExitUnusable;
  if (end == UnitEnd::kNotMade) return kExitFailed;
  if (!quiet) {
    TextOut out(stdout);
    out.Print("{}: {}\n", OutputOf(options.request.place, unit),
              end == UnitEnd::kMade ? fmt::format("made from {}, {} bytes",
                                                  Counted(unit.inputs.size(), "input"), unit.bytes)
                                    : "done already");
  }
  return kExitDone;
}

// All units named, whatever becomes of each; the worst status.
int Work(UnitOptions& options) {
  SetPlace(options.common);
  int status = kExitDone;
  for (const std::string& name : options.names) {
    options.common.request.name = name;
    status = std::max(status, WorkOn(options.common, options.quiet));
  }
  return status;
}

void AddCommonOptions(Command& command, UnitsOptions& options) {
  command.AddOption("directory", options.directory, "Directory of the logs (or hour archives)")
      ->Required()
      ->StandsFor(Stands::kDirectory);
  command
      .AddOption("--level", options.level,
                 "hour: hour archives from logs; day: day archives from hour archives "
                 "(default hour)")
      ->Must(OneOf({"hour", "day"}));
  command
      .AddOption("-o,--output", options.output,
                 "Directory of the archives (default: for hour \"archive\" in the directory, "
                 "for day the directory itself)")
      ->StandsFor(Stands::kDirectory);
  command.AddOption("--archiver", options.request.archiver,
                    "The archiver (default: Qelprfarc beside psltool, else that in PATH)");
  command.AddFlag("--verify", options.request.place.verify,
                  "A unit is done only when every record of its archive is sound");
}

}  // namespace

void AddUnitsCommand(Command& command, int& status) {
  UnitsOptions& options = command.Runs<UnitsOptions>(List, status);
  AddCommonOptions(command, options);
  command.AddFlag("--all", options.all, "Also what is done; the commands then do it again");
  command.AddFlag("--not-over", options.not_over, "Also what is not over");
  auto* zero =
      command.AddFlag("-0,--null", options.zero, "A zero byte behind each, not a new line");
  auto* names = command.AddFlag("--names", options.names, "The units' names only");
  auto* tsv = command.AddFlag("--tsv", options.tsv,
                              "A table with tabs: array, day, inputs, bytes, output, command");
  auto* json = command.AddFlag("--json", options.json, "As JSON");
  tsv->Excludes(zero)->Excludes(names)->Excludes(json);
  json->Excludes(zero)->Excludes(names);
}

void AddUnitCommand(Command& command, int& status) {
  UnitOptions& options = command.Runs<UnitOptions>(Work, status);
  AddCommonOptions(command, options.common);
  command.AddOption("name", options.names, "Names of units: date digits and array")
      ->Required()
      ->StandsFor(Stands::kText);
  command.AddFlag("--again", options.common.request.again, "Even if it is done");
  command.AddFlag("-q,--quiet", options.quiet, "No text when all is well");
}

}  // namespace psltool
