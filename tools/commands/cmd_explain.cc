// Command line of `psltool explain`.
#include "tools/commands/commands.h"

#include <fmt/format.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "tools/audit/archive_inputs.h"
#include "tools/audit/explain_print.h"
#include "tools/commands/dump_options.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"
#include "tools/reading/kind_names.h"
#include "tools/reading/time_text.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

constexpr int kAgree = 0;
constexpr int kBad = 1;
constexpr int kTrouble = 2;

struct Options {
  std::string archive;
  std::vector<std::string> inputs;
  std::string kind;
  std::string key;
  std::string at;
  std::string field;
  size_t group = 1;
  bool all = false;
  std::string run = "manual";
  std::string labels;
  bool no_period = false;
  bool any_name = false;
  bool whole_run = false;
  bool json = false;
  bool utc = false;
};

int Explain(const Options& options) {
  const Zone zone = options.utc ? Zone::kUtc : Zone::kLocal;
  const TimeReading at = ReadTime(options.at, std::time(nullptr), zone);
  if (!at.span) {
    static_cast<void>(Fail("explain --at", at.why));
    return kTrouble;
  }
  ExplainRequest explain;
  explain.archive = options.archive;
  explain.inputs = options.inputs;
  explain.no_period = options.no_period;
  explain.any_name = options.any_name;
  explain.whole_run = options.whole_run;
  explain.run = options.run == "automatic" ? RunKind::kAutomatic : RunKind::kManual;
  explain.kind = options.kind == WordOfKind(kWaittm) ? kWaittm : *KindOf(options.kind);
  explain.key = options.key;
  explain.at = *at.span;
  explain.zone = zone;
  ExplainView view = {options.archive, fmt::format("{} {}", options.kind, options.key),
                      options.field,   options.all,
                      options.group,   zone};
  if (!view.labels.Read(options.labels)) return kTrouble;
  view.kind = options.kind;
  view.name = view.labels.OfResource(ArrayOfArchive(options.archive), options.kind, options.key);
  if (!ResolveInputs(explain)) return kTrouble;
  Progress progress;
  Explanation explanation;
  const ExplainEnd end = Explain(explain, explanation, progress);
  progress.Clear();
  if (end == ExplainEnd::kRefused || end == ExplainEnd::kUnreadable) return kTrouble;
  if (explanation.fields.empty()) return kBad;
  TextOut out(stdout);
  const bool printed = options.json ? PrintExplanationJson(view, explanation, out)
                                    : PrintExplanation(view, explanation, out);
  if (!printed) return kTrouble;
  if (!out.Flush()) {
    static_cast<void>(Fail("standard output", "cannot be written"));
    return kTrouble;
  }
  return end == ExplainEnd::kDone && explanation.differences == 0 ? kAgree : kBad;
}

}  // namespace

void AddExplainCommand(Command& command, int& status) {
  auto options = std::make_shared<Options>();
  command.AddOption("--archive", options->archive, "Archive")->Required();
  command
      .AddOption("inputs", options->inputs,
                 "Logs, or hour archives, that it was made of; of a directory those that go "
                 "into it")
      ->Required();
  command.AddOption("-k,--kind", options->kind, "Kind of resource")
      ->Required()
      ->Must(OneOf(KindWords()));
  command.AddOption("--key", options->key, "A number, or key bytes with points between")
      ->Required();
  command
      .AddOption("--at", options->at, "Time: of the record whose hour or day it is, or lies in it")
      ->Required();
  command.AddOption("--field", options->field,
                    "One field, as `dump --format csv` names it (default: the main ones)");
  command.AddOption("--group", options->group, "Counter group (default: 1)")->Must(kPositive);
  command.AddFlag("--all", options->all, "All fields of all counter groups");
  command.AddOption("--run", options->run, "Whose rules join days: manual (default) or automatic")
      ->Must(OneOf({"manual", "automatic"}));
  command.AddFlag("--noperiod", options->no_period,
                  "Made with -noperiod: inputs in the order given, in one archive");
  command.AddFlag("--any-name", options->any_name, "Made with -out: the name tells nothing");
  command.AddFlag("--whole-run", options->whole_run,
                  "The inputs are those of a whole run: some may go into other archives");
  command.AddFlag("--json", options->json, "A JSON text for programs");
  AddLabelsOption(command, options->labels);
  command.AddFlag("--utc", options->utc, "Times in UTC instead of local time");
  command.Does([options, &status] { status = Explain(*options); });
}

}  // namespace psltool
