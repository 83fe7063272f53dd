// Command line, table and JSON text of `psltool top`: see the header.
#include "tools/cmd_top.h"

#include <algorithm>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/dump_options.h"
#include "tools/kind_names.h"
#include "tools/report.h"
#include "tools/spark.h"
#include "tools/text_out.h"
#include "tools/top_resources.h"

namespace {

using Json = nlohmann::ordered_json;

struct Wishes {
  std::vector<std::string> files;
  std::string by = "ops";
  std::string kind = "ld";
  size_t number = 10;
  uint32_t group = 1;
  bool ascii = false;
  bool json = false;
  ChoiceOptions choice;
};

struct MeasureName {
  const char* word;
  TopMeasure measure;
  const char* head;  // of the sparkline's column
};

constexpr MeasureName kMeasures[] = {{"ops", TopMeasure::kOps, "ops/s"},
                                     {"busy", TopMeasure::kBusy, "busy %"},
                                     {"mean", TopMeasure::kMean, "1st mean/op"},
                                     {"max", TopMeasure::kMax, "max"}};

const MeasureName& MeasureOf(const std::string& word) {
  return *std::find_if(std::begin(kMeasures), std::end(kMeasures),
                       [&word](const MeasureName& name) { return word == name.word; });
}

// The resources to print: those without the measure are left out.
std::vector<const TopResource*> Chosen(const TopCollector& collector, const Wishes& wishes) {
  std::vector<const TopResource*> ranked = collector.Ranked();
  const TopMeasure by = MeasureOf(wishes.by).measure;
  std::erase_if(ranked, [by](const TopResource* r) { return !r->all.Measure(by); });
  if (ranked.size() > wishes.number) ranked.resize(wishes.number);
  return ranked;
}

std::vector<std::optional<double>> CellsOf(const TopResource& resource, TopMeasure measure) {
  std::vector<std::optional<double>> cells;
  for (const TopSums& sums : resource.cells) cells.push_back(sums.Measure(measure));
  return cells;
}

std::string Text(std::optional<double> value, int digits) {
  return value ? fmt::format("{:.{}f}", *value, digits) : "-";
}

void PrintTable(TextOut& out, const TopCollector& collector, const Wishes& wishes) {
  const MeasureName& by = MeasureOf(wishes.by);
  const Zone zone = wishes.choice.zone();
  const auto chosen = Chosen(collector, wishes);
  size_t width = 5;
  for (const TopResource* resource : chosen) width = std::max(width, resource->array.size());
  const bool ascii = wishes.ascii || !LocaleIsUtf8();
  out.Print("{} by {}, counter group {}, from {} to {} ({})\n", wishes.kind, wishes.by,
            wishes.group, TimeText(collector.span()->first, zone),
            TimeText(collector.span()->second, zone), zone == Zone::kUtc ? "UTC" : "local");
  out.Print("{:>4} {:<{}} {:>9} {:>14} {:>10} {:>11} {:>10} {:>7}  {}\n", "rank", "array", width,
            "key", "ops", "ops/s", "1st mean/op", "max", "busy %",
            fmt::format("{} over time", by.head));
  size_t rank = 0;
  for (const TopResource* resource : chosen) {
    const TopSums& all = resource->all;
    out.Print("{:>4} {:<{}} {:>9} {:>14.0f} {:>10} {:>11} {:>10} {:>7}  {}\n", ++rank,
              resource->array, width, resource->key, all.operations, Text(all.Rate(), 2),
              Text(all.Mean(), 0), Text(all.maximum, 0), Text(all.Busy(), 2),
              Sparkline(CellsOf(*resource, by.measure), ascii));
  }
}

void PrintJson(TextOut& out, const TopCollector& collector, const Wishes& wishes) {
  const Zone zone = wishes.choice.zone();
  const auto or_null = [](std::optional<double> value) { return value ? Json(*value) : Json(); };
  Json json = {{"kind", wishes.kind}, {"by", wishes.by}, {"group", wishes.group}};
  const auto& span = collector.span();
  json["from"] = span ? Json(IsoTimeText(span->first, zone)) : Json();
  json["to"] = span ? Json(IsoTimeText(span->second, zone)) : Json();
  json["resources"] = Json::array();
  for (const TopResource* resource : Chosen(collector, wishes)) {
    const TopSums& all = resource->all;
    Json cells = Json::array();
    for (const auto& cell : CellsOf(*resource, MeasureOf(wishes.by).measure)) {
      cells.push_back(or_null(cell));
    }
    json["resources"].push_back({{"rank", json["resources"].size() + 1},
                                 {"array", resource->array},
                                 {"key", resource->key},
                                 {"ops", all.operations},
                                 {"ops_per_s", or_null(all.Rate())},
                                 {"first_mean", or_null(all.Mean())},
                                 {"max", or_null(all.maximum)},
                                 {"busy_pct", or_null(all.Busy())},
                                 {"cells", std::move(cells)}});
  }
  // Names of files are bytes, JSON is UTF-8.
  out.Put(json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
  out.Put("\n");
}

int Top(const Wishes& wishes) {
  TopWishes what;
  what.group = wishes.group;
  what.by = MeasureOf(wishes.by).measure;
  if (!TakeChoice("top", wishes.choice, what.dump)) return kRefused;
  what.dump.kinds = {KindOfWord(wishes.kind)};
  Progress progress;
  TopCollector collector(what, progress);
  for (const std::string& path : wishes.files) {
    if (!collector.Look(path)) return kRefused;
  }
  int status = kDone;
  for (const std::string& path : wishes.files) {
    const DumpEnd end = collector.Take(path);
    progress.Clear();
    if (end == DumpEnd::kDone) continue;
    status = std::max(status, end == DumpEnd::kBroken ? kFailed : kUnusable);
  }
  TextOut out(stdout);
  if (wishes.json) {
    PrintJson(out, collector, wishes);
  } else if (!Chosen(collector, wishes).empty()) {
    PrintTable(out, collector, wishes);
  } else if (status == kDone) {
    static_cast<void>(Fail("top", fmt::format("no {} has a value of \"{}\" in the files and times "
                                              "asked for",
                                              wishes.kind, wishes.by)));
    return kFailed;
  }
  if (out.Flush()) return status;
  static_cast<void>(Fail("standard output", "cannot be written"));
  return kUnusable;
}

// Kinds whose entries count something or have a busy ratio.
std::vector<std::string> KindsWithMeasures() {
  std::vector<std::string> words = KindWords();
  std::erase_if(words, [](const std::string& word) {
    const Kind kind = KindOfWord(word);
    return kind >= kSectionKinds && kind != kWaittm;
  });
  return words;
}

}  // namespace

void AddTopCommand(CLI::App& app, int& status) {
  auto wishes = std::make_shared<Wishes>();
  CLI::App* command = app.add_subcommand("top", "The busiest resources over a span of time");
  command->footer(
      "Files of one array are added up, several arrays stay apart. Means are weighted by "
      "operations,\n"
      "busy ratios by time; \"ops\" are ranked by their number in the whole span. The line at the\n"
      "end shows the measure over time, scaled to its own largest value, blank without a "
      "record.\n\n"
      "Exit status: 0 done, 1 a file is broken (what stands in front of the place counts), or\n"
      "nothing has the measure, 2 a file could not be read or the command line is wrong.\n\n"
      "Examples:\n"
      "  psltool top archive/202403*.psa\n"
      "  psltool top --by busy -n 5 --kind pd 20240304array01.psl --from \"2024-03-04 09:00\"\n"
      "  psltool top --by max --json archive/*.psa | jq -r '.resources[0].key'");
  command->add_option("files", wishes->files, "Logs or archives")->required();
  command->add_option("--by", wishes->by, "ops, busy, mean or max (default ops)")
      ->check(CLI::IsMember({"ops", "busy", "mean", "max"}));
  command->add_option("-n", wishes->number, "How many resources (default 10)")
      ->check(CLI::Range(1, 1000000));
  command->add_option("-k,--kind", wishes->kind, "Kind of the resources (default ld)")
      ->check(CLI::IsMember(KindsWithMeasures()));
  command->add_option("-g,--group", wishes->group, "Counter group, from 1 (default 1)")
      ->check(CLI::Range(1, 6));
  AddSpanOptions(*command, wishes->choice);
  command->add_flag("--ascii", wishes->ascii,
                    "Bars of plain characters, as in a locale without UTF-8");
  command->add_flag("--json", wishes->json, "A JSON text for programs");
  command->callback([wishes, &status] { status = Top(*wishes); });
}
