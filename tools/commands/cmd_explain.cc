// Command line of `psltool explain`.
#include "tools/commands/commands.h"

#include <fmt/format.h>

#include <string>

#include "tools/audit/archive_inputs.h"
#include "tools/audit/explain_print.h"
#include "tools/audit/explain_value.h"
#include "tools/commands/archive_options.h"
#include "tools/commands/dump_options.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"
#include "tools/reading/clock.h"
#include "tools/reading/kind_names.h"
#include "tools/reading/time_text.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

struct ExplainOptions {
  ArchiveInputs made;
  std::string kind;
  std::string key;
  std::string at;
  std::string field;
  size_t group = 1;
  bool all = false;
  std::string run = "manual";
  AnswerOptions answer;
};

int Explain(const ExplainOptions& options) {
  const Zone zone = options.answer.zone();
  const TimeReading at = ReadTime(options.at, Now(), zone);
  if (!at.span) {
    return FailWith(kExitUnusable, "explain --at", at.why);
  }
  ExplainRequest explain = {options.made};
  explain.run = options.run == "automatic" ? RunKind::kAutomatic : RunKind::kManual;
  explain.kind = *KindOfWord(options.kind);
  explain.key = options.key;
  explain.at = *at.span;
  explain.zone = zone;
  ExplainView view = {options.made.archive, fmt::format("{} {}", options.kind, options.key),
                      options.field,        options.all,
                      options.group,        zone};
  if (!view.labels.Read(options.answer.labels)) return kExitUnusable;
  view.kind = options.kind;
  view.name =
      view.labels.OfResource(ArrayOfArchive(options.made.archive), options.kind, options.key);
  if (!ResolveInputs(explain)) return kExitUnusable;
  Progress progress;
  Explanation explanation;
  const ExplainEnd end = Explain(explain, explanation, progress);
  progress.Clear();
  if (end == ExplainEnd::kRefused || end == ExplainEnd::kUnreadable) return kExitUnusable;
  if (explanation.fields.empty()) return kExitFailed;
  TextOut out(stdout);
  const bool printed = options.answer.json ? PrintExplanationJson(view, explanation, out)
                                           : PrintExplanation(view, explanation, out);
  if (!printed) return kExitUnusable;
  if (!out.FlushOrFail()) return kExitUnusable;
  return end == ExplainEnd::kDone && explanation.differences == 0 ? kExitDone : kExitFailed;
}

}  // namespace

void AddExplainCommand(Command& command, int& status) {
  ExplainOptions& options = command.Runs<ExplainOptions>(Explain, status);
  command.AddOption("--archive", options.made.archive, "Archive")
      ->Required()
      ->StandsFor(Stands::kInput);
  AddInputsArgument(command, options.made)->Required();
  command.AddOption("-k,--kind", options.kind, "Kind of resource")
      ->Required()
      ->Must(OneOf(KindWords()));
  command.AddOption("--key", options.key, "A number, or key bytes with points between")
      ->Required()
      ->StandsFor(Stands::kText);
  command
      .AddOption("--at", options.at, "Time: of the record whose hour or day it is, or lies in it")
      ->Required()
      ->StandsFor(Stands::kTime);
  command
      .AddOption("--field", options.field,
                 "One field, as `dump --format csv` names it (default: the main ones)")
      ->StandsFor(Stands::kText);
  command.AddOption("--group", options.group, "Counter group (default: 1)")->Must(kPositive);
  command.AddFlag("--all", options.all, "All fields of all counter groups");
  command.AddOption("--run", options.run, "Whose rules join days: manual (default) or automatic")
      ->Must(OneOf({"manual", "automatic"}));
  AddMakingOptions(command, options.made);
  AddAnswerOptions(command, options.answer);
}

}  // namespace psltool
