// Command line of `psltool compare`.
#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/commands/dump_options.h"
#include "tools/commands/files_option.h"
#include "tools/measures/compare_report.h"
#include "tools/output/record_file.h"
#include "tools/output/report.h"
#include "tools/page/compare_page.h"
#include "tools/reading/kind_names.h"

namespace psltool {

namespace {

struct CompareOptions {
  std::vector<std::string> files;  // with kDivision between those of before and after
  std::string before;
  std::string after;
  std::string match;
  std::vector<std::string> measures;
  uint32_t group = 0;
  double least = 5;
  size_t number = 20;
  bool json = false;
  std::string page;
  std::string labels;
  ChoiceOptions choice;
};

Matching MatchingOf(const std::string& word) {
  if (word == "hour") return Matching::kHours;
  if (word == "weekday") return Matching::kWeekdays;
  return word == "both" ? Matching::kBoth : Matching::kNone;
}

// Files and spans of before and after. False: reported.
bool TakeSides(const CompareOptions& options, CompareRequest& request,
               std::vector<std::string>& before, std::vector<std::string>& after) {
  const auto mark = std::find(options.files.begin(), options.files.end(), kDivision);
  const bool spans = !options.before.empty() || !options.after.empty();
  if (spans && (options.before.empty() || options.after.empty())) {
    return Fail("compare", "--before and --after go together");
  }
  if (spans != (mark == options.files.end())) {
    return Fail("compare", spans ? "files stand either on both sides of -- or behind --before and "
                                   "--after, not both"
                                 : "-- must stand between the files of before and those of after, "
                                   "or --before and --after tell the spans");
  }
  before.assign(options.files.begin(), mark);
  after = before;
  if (!spans) after.assign(mark + 1, options.files.end());
  if (before.empty() || after.empty()) return Fail("compare", "no file stands on one side of --");
  if (!spans) return true;
  const Zone zone = options.choice.zone();
  const auto first = SpanOf("compare --before", options.before, zone);
  const auto second = first ? SpanOf("compare --after", options.after, zone) : std::nullopt;
  if (!second) return false;
  request.before.dump.from = first->first;
  request.before.dump.to = first->last;
  request.after.dump.from = second->first;
  request.after.dump.to = second->last;
  return true;
}

bool TakeMeasures(const CompareOptions& options, CompareRequest& request) {
  std::vector<Kind> kinds = request.before.dump.kinds;
  for (int i = 0; kinds.size() < kKinds && options.choice.kinds.empty() && i < kKinds; ++i) {
    kinds.push_back(static_cast<Kind>(i));
  }
  request.before.measures = MeasuresOf(kinds, options.measures, options.group);
  // One long operation makes a maximum: it says little of a span, unless it is asked for.
  if (options.measures.empty()) {
    std::erase_if(request.before.measures,
                  [](const MeasureAt& at) { return at.measure->together == Together::kLargest; });
  }
  request.after.measures = request.before.measures;
  return !request.before.measures.empty() ||
         Fail("compare",
              fmt::format("the kinds asked for have no {}", fmt::join(options.measures, ", ")));
}

void Print(const CompareOptions& options, const CompareView& view, const Comparison& comparison,
           TextOut& out) {
  if (!options.page.empty()) return PutComparisonPage(view, comparison, out);
  if (options.json) return PrintComparisonJson(view, comparison, out);
  PrintComparison(view, comparison, out);
}

int RunCompare(const CompareOptions& options) {
  CompareRequest request;
  request.matching = MatchingOf(options.match);
  request.least = options.least;
  request.number = options.number;
  Labels labels;
  std::vector<std::string> before;
  std::vector<std::string> after;
  if (!TakeChoice("compare", options.choice, request.before.dump)) return kExitRefused;
  request.after.dump = request.before.dump;
  if (!TakeSides(options, request, before, after) || !TakeMeasures(options, request) ||
      !MayWrite("compare --page", options.page, options.files, {options.labels}) ||
      !labels.Read(options.labels)) {
    return kExitRefused;
  }
  Progress progress;
  Comparison comparison;
  if (!Compare(request, before, after, progress, comparison)) return kExitRefused;
  const CompareView view = {options.choice.zone(), request.matching, request.least, labels};
  const auto print = [&](TextOut& out) { Print(options, view, comparison, out); };
  if (!PrintTo(options.page, print)) return kExitUnusable;
  int status = comparison.status;
  for (const auto* span : {&comparison.before, &comparison.after}) {
    if (span->records != 0 || status != kExitDone) continue;
    Fail("compare", fmt::format("no record lies in the span {}",
                                span == &comparison.before ? "before" : "after"));
    status = kExitFailed;
  }
  return status;
}

}  // namespace

void AddCompareCommand(Command& command, int& status) {
  CompareOptions& options = command.Runs<CompareOptions>(RunCompare, status);
  AddFilesOption(command, options.files);
  command.AddOption("--before", options.before, "Span of time, as \"last week\" or 2024-03-04")
      ->StandsFor(Stands::kTime);
  command.AddOption("--after", options.after, "The span that is compared with it")
      ->StandsFor(Stands::kTime);
  command
      .AddOption("--match", options.match,
                 "Compare hours with the same hours, weekdays with the same weekdays, or both")
      ->Must(OneOf({"hour", "weekday", "both"}));
  command
      .AddOption("-m,--measure", options.measures,
                 "Measure (several times; default all but maxima)")
      ->Must(OneOf(MeasureNames()))
      ->OneEachTime();
  command.AddOption("-g,--group", options.group, "One counter group, from 1 (default all)")
      ->Must(Between(1, 6));
  command
      .AddOption("--least", options.least,
                 "Changes of less than so many percent of a value are none (default 5)")
      ->Must(kNotNegative);
  command.AddOption("-n", options.number, "How many changes are told (default 20)")
      ->Must(Between(1, 1000000));
  AddKeyOptions(command, options.choice);
  AddUtcFlag(command, options.choice.utc);
  Option* const json = AddJsonFlag(command, options.json);
  command.AddOption("--page", options.page, "HTML file to write instead, to open in a browser")
      ->Excludes(json);
  AddLabelsOption(command, options.labels);
}

}  // namespace psltool
