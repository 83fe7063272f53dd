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

struct Wishes {
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

int Explain(const Wishes& wishes) {
  const Zone zone = wishes.utc ? Zone::kUtc : Zone::kLocal;
  const TimeReading at = ReadTime(wishes.at, std::time(nullptr), zone);
  if (!at.span) {
    static_cast<void>(Fail("explain --at", at.why));
    return kTrouble;
  }
  ExplainWishes explain;
  explain.archive = wishes.archive;
  explain.inputs = wishes.inputs;
  explain.no_period = wishes.no_period;
  explain.any_name = wishes.any_name;
  explain.whole_run = wishes.whole_run;
  explain.run = wishes.run == "automatic" ? RunKind::kAutomatic : RunKind::kManual;
  explain.kind = wishes.kind == WordOfKind(kWaittm) ? kWaittm : *KindOf(wishes.kind);
  explain.key = wishes.key;
  explain.at = *at.span;
  explain.zone = zone;
  ExplainView view = {wishes.archive, fmt::format("{} {}", wishes.kind, wishes.key),
                      wishes.field,   wishes.all,
                      wishes.group,   zone};
  if (!view.labels.Read(wishes.labels)) return kTrouble;
  view.kind = wishes.kind;
  view.name = view.labels.OfResource(ArrayOfArchive(wishes.archive), wishes.kind, wishes.key);
  if (!ResolveInputs(explain)) return kTrouble;
  Progress progress;
  Explanation explanation;
  const ExplainEnd end = Explain(explain, explanation, progress);
  progress.Clear();
  if (end == ExplainEnd::kRefused || end == ExplainEnd::kUnreadable) return kTrouble;
  if (explanation.fields.empty()) return kBad;
  TextOut out(stdout);
  const bool printed = wishes.json ? PrintExplanationJson(view, explanation, out)
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
  auto wishes = std::make_shared<Wishes>();
  command.AddOption("--archive", wishes->archive, "Archive")->Required();
  command
      .AddOption("inputs", wishes->inputs,
                 "Logs, or hour archives, that it was made of; of a directory those that go "
                 "into it")
      ->Required();
  command.AddOption("-k,--kind", wishes->kind, "Kind of resource")
      ->Required()
      ->Must(OneOf(KindWords()));
  command.AddOption("--key", wishes->key, "A number, or key bytes with points between")->Required();
  command
      .AddOption("--at", wishes->at, "Time: of the record whose hour or day it is, or lies in it")
      ->Required();
  command.AddOption("--field", wishes->field,
                    "One field, as `dump --format csv` names it (default: the main ones)");
  command.AddOption("--group", wishes->group, "Counter group (default: 1)")->Must(kPositive);
  command.AddFlag("--all", wishes->all, "All fields of all counter groups");
  command.AddOption("--run", wishes->run, "Whose rules join days: manual (default) or automatic")
      ->Must(OneOf({"manual", "automatic"}));
  command.AddFlag("--noperiod", wishes->no_period,
                  "Made with -noperiod: inputs in the order given, in one archive");
  command.AddFlag("--any-name", wishes->any_name, "Made with -out: the name tells nothing");
  command.AddFlag("--whole-run", wishes->whole_run,
                  "The inputs are those of a whole run: some may go into other archives");
  command.AddFlag("--json", wishes->json, "A JSON text for programs");
  AddLabelsOption(command, wishes->labels);
  command.AddFlag("--utc", wishes->utc, "Times in UTC instead of local time");
  command.Does([wishes, &status] { status = Explain(*wishes); });
}

}  // namespace psltool
