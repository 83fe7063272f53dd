// Command line of `psltool limits`.
#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/commands/dump_options.h"
#include "tools/commands/files_option.h"
#include "tools/measures/limit_report.h"
#include "tools/output/record_file.h"
#include "tools/output/report.h"

namespace psltool {

namespace {

struct LimitsOptions {
  std::vector<std::string> files;
  std::string rules;
  std::string out;
  bool json = false;
  bool metrics = false;
  std::string labels;
  ChoiceOptions choice;
};

void Print(const LimitsOptions& options, const LimitView& view, const std::vector<Breach>& breaches,
           TextOut& out) {
  if (options.json) return PrintBreachesJson(view, breaches, out);
  if (options.metrics) return PrintBreachMetrics(view, breaches, out);
  PrintBreaches(view, breaches, out);
}

// A rule that no value is held against may be mistyped: it is told, though nothing is broken.
void TellIdleRules(const LimitView& view) {
  for (size_t i = 0; i < view.rules.size(); ++i) {
    if (view.check.looked()[i] != 0) continue;
    Fail(fmt::format("{}:{}", view.path, view.rules[i].line),
         "no value of the files is held against this rule");
  }
}

int Limits(const LimitsOptions& options) {
  Labels labels;
  std::vector<LimitRule> rules;
  SeriesRequest request;
  if (!TakeChoice("limits", options.choice, request.dump) ||
      !MayWrite("limits -o", options.out, options.files, {options.rules, options.labels}) ||
      !labels.Read(options.labels) || !ReadLimitRules(options.rules, labels, rules)) {
    return kExitRefused;
  }
  request.dump.kinds = KindsOf(rules);
  request.measures = MeasuresOf(rules);
  Progress progress;
  SeriesReader reader(request, progress);
  if (!reader.Look(options.files)) return kExitRefused;
  LimitCheck check(rules, reader);
  int status = reader.Walk(check);
  const LimitView view = {options.rules, rules, check, reader, labels, options.choice.zone()};
  const std::vector<Breach> breaches = check.Finish();
  const auto print = [&](TextOut& out) { Print(options, view, breaches, out); };
  if (!PrintTo(options.out, print, true)) return kExitUnusable;
  if (status == kExitDone &&
      !HasWhatWasAsked("limits", options.choice, request.dump, reader.count())) {
    return kExitFailed;
  }
  TellIdleRules(view);
  return breaches.empty() ? status : std::max(status, kExitFailed);
}

}  // namespace

void AddLimitsCommand(Command& command, int& status) {
  LimitsOptions& options = command.Runs<LimitsOptions>(Limits, status);
  AddFilesOption(command, options.files);
  command.AddOption("-r,--rules", options.rules, "File of rules, one a line")->Required();
  AddSpanOptions(command, options.choice);
  Option* const json = AddJsonFlag(command, options.json);
  command.AddFlag("--openmetrics", options.metrics, "Metrics for a collector of text files")
      ->Excludes(json);
  command.AddOption("-o,--out", options.out,
                    "File to write, renamed when whole (default: standard output)");
  AddLabelsOption(command, options.labels);
}

}  // namespace psltool
