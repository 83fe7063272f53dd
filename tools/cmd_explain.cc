// Command line of `psltool explain`: see the header.
#include "tools/cmd_explain.h"

#include <fmt/format.h>

#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "tools/archive_inputs.h"
#include "tools/dump_file.h"
#include "tools/dump_options.h"
#include "tools/explain_print.h"
#include "tools/kind_names.h"
#include "tools/report.h"
#include "tools/text_out.h"
#include "tools/time_text.h"

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

void AddExplainCommand(CLI::App& app, int& status) {
  auto wishes = std::make_shared<Wishes>();
  CLI::App* command =
      app.add_subcommand("explain", "Tell how one stored number of an archive came about");
  command->footer(
      "Shows the intervals that went into a record of an archive, what they add up to and which "
      "of\n"
      "them held a peak (\"^\" the largest, \"v\" the smallest value). The numbers are computed "
      "anew\n"
      "from the inputs as `psltool audit` does it; where the archive holds another one, that is "
      "told.\n\n"
      "Exit status: 0 done, 1 the archive holds other numbers, or has no such record or resource, "
      "or\n"
      "an input is broken, 2 a file could not be read or the command line is wrong.\n\n"
      "Examples:\n"
      "  psltool explain --archive 20240308osaka01.psa --kind ld --key 42 \\\n"
      "      --at \"2024-03-08 14:30\" 20240308osaka01.psl\n"
      "  psltool explain --archive 202403osaka01.psa --kind ld --key 42 --at 2024-03-08 \\\n"
      "      --field g1_max hour/202403??osaka01.psa");
  command->add_option("--archive", wishes->archive, "Archive")->required();
  command
      ->add_option("inputs", wishes->inputs,
                   "Logs, or hour archives, that it was made of; of a directory those that go "
                   "into it")
      ->required();
  command->add_option("-k,--kind", wishes->kind, "Kind of resource")
      ->required()
      ->check(CLI::IsMember(KindWords()));
  command->add_option("--key", wishes->key, "A number, or key bytes with points between")
      ->required();
  command
      ->add_option("--at", wishes->at, "Time: of the record whose hour or day it is, or lies in it")
      ->required();
  command->add_option("--field", wishes->field,
                      "One field, as `dump --format csv` names it (default: the main ones)");
  command->add_option("--group", wishes->group, "Counter group (default: 1)")
      ->check(CLI::PositiveNumber);
  command->add_flag("--all", wishes->all, "All fields of all counter groups");
  command->add_option("--run", wishes->run, "Whose rules join days: manual (default) or automatic")
      ->check(CLI::IsMember({"manual", "automatic"}));
  command->add_flag("--noperiod", wishes->no_period,
                    "Made with -noperiod: inputs in the order given, in one archive");
  command->add_flag("--any-name", wishes->any_name, "Made with -out: the name tells nothing");
  command->add_flag("--whole-run", wishes->whole_run,
                    "The inputs are those of a whole run: some may go into other archives");
  command->add_flag("--json", wishes->json, "A JSON text for programs");
  AddLabelsOption(*command, wishes->labels);
  command->add_flag("--utc", wishes->utc, "Times in UTC instead of local time");
  command->callback([wishes, &status] { status = Explain(*wishes); });
}
