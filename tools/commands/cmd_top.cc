// Command line, table and JSON text of `psltool top`.
#include "tools/commands/commands.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "tools/commands/dump_options.h"
#include "tools/commands/files_option.h"
#include "tools/measures/statistics.h"
#include "tools/output/json.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"
#include "tools/reading/kind_names.h"
#include "tools/showing/spark.h"
#include "tools/showing/top_resources.h"

namespace psltool {

namespace {

struct TopOptions {
  std::vector<std::string> files;
  std::string by = "ops";
  std::string kind;  // the one at hand
  size_t number = 10;
  uint32_t group = 1;
  bool ascending = false;
  bool ascii = false;
  bool json = false;
  std::string labels;
  Labels names;  // read from there
  ChoiceOptions choice;
};

struct MeasureName {
  const char* word;  // in the table of measures
  TopMeasure measure;
  const char* head;  // of the sparkline's column

  int digits() const { return psltool::MeasureOf(word)->digits; }
};

constexpr MeasureName kMeasures[] = {{"ops", TopMeasure::kOps, "ops/s"},
                                     {"busy", TopMeasure::kBusy, "busy %"},
                                     {"mean", TopMeasure::kMean, "1st mean/op"},
                                     {"max", TopMeasure::kMax, "max"},
                                     {"volume", TopMeasure::kVolume, "volume/1024/s"}};

const MeasureName& NameOfMeasure(const std::string& word) {
  return *std::find_if(std::begin(kMeasures), std::end(kMeasures),
                       [&word](const MeasureName& name) { return word == name.word; });
}

std::vector<std::string> MeasureWords() {
  std::vector<std::string> words;
  for (const MeasureName& name : kMeasures) words.emplace_back(name.word);
  return words;
}

// Of the measure of --by, over the intervals of a resource, or over the records of an array.
struct Middle {
  std::optional<double> median;
  std::optional<double> high;
};
// By array and key.
using Middles = std::map<std::pair<std::string, std::string>, Middle>;

Middle MiddleOf(Distribution& values) {
  return {values.Percentile(kMedianPercent), values.Percentile(kHighPercent)};
}

Middle MiddleOf(const TopTotal& total) {
  Distribution values;
  for (const auto& [value, weight] : total.values) values.Add(value, weight);
  return MiddleOf(values);
}

using Cells = std::vector<std::optional<double>>;

Cells CellsOf(const std::vector<TopSums>& sums, TopMeasure measure) {
  Cells cells;
  for (const TopSums& each : sums) cells.push_back(each.Measure(measure));
  return cells;
}

std::string Text(std::optional<double> value, int digits) {
  return value ? fmt::format("{:.{}f}", *value, digits) : "-";
}

// One line of the table: a resource, or all of an array.
struct Line {
  std::string rank;
  std::string array;
  std::string key;
  std::string name;
  const TopSums& all;
  const TopPeak& peak;
  const std::vector<TopSums>& cells;
  Middle middle;
};

class Table {
 public:
  Table(TextOut& out, const TopOptions& options)
      : out_(out),
        by_(NameOfMeasure(options.by)),
        zone_(options.choice.zone()),
        ascii_(options.ascii || !LocaleIsUtf8()),
        named_(options.names.NameResourcesOf(options.kind)) {}

  void Put(const std::vector<Line>& lines) {
    for (const Line& line : lines) {
      array_width_ = std::max(array_width_, line.array.size());
      key_width_ = std::max(key_width_, line.key.size());
      name_width_ = std::max(name_width_, line.name.size());
      at_width_ = std::max(at_width_, AtOf(line).size());
    }
    const bool volume = by_.measure == TopMeasure::kVolume;
    out_.Print(
        "{:>4} {:<{}} {:>{}}{} {:>12} {:>9} {:>13} {:>9} {:>6} {:>9} {:>9} {:>9} {:<{}}  {}\n",
        "rank", "array", array_width_, "key", key_width_, NameCell("name"), "ops", "ops/s",
        volume ? by_.head : "1st mean/op", "max", "busy %", "median", "p95", "peak", "peak in",
        at_width_, fmt::format("{} over time", by_.head));
    for (const Line& line : lines) {
      const TopSums& all = line.all;
      const auto third = volume ? Text(all.Volume(), by_.digits()) : Text(all.Mean(), 0);
      const auto peak = line.peak.known() ? std::optional(line.peak.value) : std::nullopt;
      out_.Print(
          "{:>4} {:<{}} {:>{}}{} {:>12.0f} {:>9} {:>13} {:>9} {:>6} {:>9} {:>9} {:>9} {:<{}}  {}\n",
          line.rank, line.array, array_width_, line.key, key_width_, NameCell(line.name),
          all.operations, Text(all.Rate(), 2), third, Text(all.Maximum(), 0), Text(all.Busy(), 2),
          Text(line.middle.median, by_.digits()), Text(line.middle.high, by_.digits()),
          Text(peak, by_.digits()), AtOf(line), at_width_,
          Sparkline(CellsOf(line.cells, by_.measure), ascii_));
    }
  }

 private:
  std::string AtOf(const Line& line) const {
    return line.peak.known() ? PeriodText(line.peak.period, zone_) : "-";
  }

  // A column that is there when resources have names.
  std::string NameCell(const std::string& name) const {
    return named_ ? fmt::format(" {:<{}}", name, name_width_) : "";
  }

  TextOut& out_;
  const MeasureName& by_;
  Zone zone_;
  bool ascii_;
  bool named_;
  size_t name_width_ = 4;
  size_t array_width_ = 5;
  size_t key_width_ = 5;
  size_t at_width_ = 7;
};

std::vector<const TopResource*> Chosen(const TopCollector& collector, const TopOptions& options) {
  std::vector<const TopResource*> ranked = collector.Ranked();
  if (ranked.size() > options.number) ranked.resize(options.number);
  return ranked;
}

// Gathers the values of the resources that are shown.
class MiddleSink : public SeriesSink {
 public:
  void Put(const SeriesEntry& entry) override {
    const Point& point = entry.points.front();
    if (!std::isnan(point.value)) values_[entry.resource].Add(point.value, point.weight);
  }
  std::map<size_t, Distribution>& values() { return values_; }

 private:
  std::map<size_t, Distribution> values_;  // by resource
};

// Reads the files once more, for the values of the resources that are shown only: those of all
// would not fit into memory.
Middles MiddlesOf(const TopRequest& what, const TopOptions& options,
                  const std::vector<const TopResource*>& shown, Progress& progress) {
  Middles middles;
  for (const TopResource* each : shown) middles[{each->array, each->key}];
  const Measure* const measure = psltool::MeasureOf(options.by);
  const auto group = static_cast<uint8_t>(measure->grouped ? options.group : 0);
  SeriesReader reader({what.dump, {{measure, group}}}, progress);
  reader.ReportNothing();
  if (!reader.Look(options.files)) return middles;
  std::vector<std::optional<bool>> known;
  MiddleSink sink;
  static_cast<void>(reader.Walk(sink, [&](size_t at) {
    if (at >= known.size()) known.resize(at + 1);
    if (!known[at]) {
      const SeriesResource& resource = reader.resources()[at];
      known[at] = middles.contains({resource.array, resource.key});
    }
    return *known[at];
  }));
  for (auto& [at, values] : sink.values()) {
    const SeriesResource& resource = reader.resources()[at];
    middles[{resource.array, resource.key}] = MiddleOf(values);
  }
  return middles;
}

void PrintTable(TextOut& out, const TopCollector& collector, const TopOptions& options,
                const Middles& middles) {
  const Zone zone = options.choice.zone();
  out.Print("{} by {}{}, counter group {}{}, from {} to {} ({})\n", options.kind, options.by,
            options.ascending ? ", ascending" : "", options.group,
            options.names.BehindGroup(options.kind, options.group),
            TimeText(collector.span()->first, zone), TimeText(collector.span()->second, zone),
            zone == Zone::kUtc ? "UTC" : "local");
  std::vector<Line> lines;
  for (const TopResource* each : Chosen(collector, options)) {
    lines.push_back({std::to_string(lines.size() + 1), each->array, each->key,
                     options.names.OfResource(each->array, options.kind, each->key), each->all,
                     each->peak, each->cells, middles.at({each->array, each->key})});
  }
  for (const auto& [array, total] : collector.totals()) {
    lines.push_back({"", array, fmt::format("all {}", total.resources), "", total.all, total.peak,
                     total.cells, MiddleOf(total)});
  }
  Table(out, options).Put(lines);
}

// What resources and sums have in common.
template <class Sums>
void AddMeasures(const Sums& from, const Middle& middle, const TopOptions& options, Json& json) {
  const Zone zone = options.choice.zone();
  const TopSums& all = from.all;
  json["ops"] = all.operations;
  json["ops_per_s"] = all.Rate();
  json["first_mean"] = all.Mean();
  json["max"] = all.Maximum();
  json["kvolume_per_s"] = all.Volume();
  json["busy_pct"] = all.Busy();
  json["median"] = middle.median;
  json["p95"] = middle.high;
  json["peak"] = Json();
  if (from.peak.known()) {
    const RecordPeriod& at = from.peak.period;
    json["peak"] = {{"value", from.peak.value},
                    {"time", IsoTimeText(at.stamp, zone)},
                    {"stamp", at.stamp},
                    {"begin", IsoTimeText(at.begin, zone)},
                    {"end", IsoTimeText(at.end, zone)}};
  }
  json["cells"] = Json::Array();
  for (const auto& cell : CellsOf(from.cells, NameOfMeasure(options.by).measure)) {
    json["cells"].Append(cell);
  }
}

Json JsonOf(const TopCollector& collector, const TopOptions& options, const Middles& middles) {
  const Zone zone = options.choice.zone();
  Json json = {{"kind", options.kind}, {"by", options.by}, {"group", options.group}};
  const Labels& names = options.names;
  if (!names.empty()) json["group_name"] = names.OfGroup(options.kind, options.group);
  json["order"] = options.ascending ? "ascending" : "descending";
  const auto& span = collector.span();
  json["from"] = span ? Json(IsoTimeText(span->first, zone)) : Json();
  json["to"] = span ? Json(IsoTimeText(span->second, zone)) : Json();
  json["resources"] = Json::Array();
  for (const TopResource* resource : Chosen(collector, options)) {
    Json each = {
        {"rank", json["resources"].Size() + 1}, {"array", resource->array}, {"key", resource->key}};
    if (!names.empty()) {
      each["name"] = names.OfResource(resource->array, options.kind, resource->key);
    }
    AddMeasures(*resource, middles.at({resource->array, resource->key}), options, each);
    json["resources"].Append(std::move(each));
  }
  json["totals"] = Json::Array();
  for (const auto& [array, total] : collector.totals()) {
    Json each = {{"array", array}, {"resources", total.resources}};
    AddMeasures(total, MiddleOf(total), options, each);
    json["totals"].Append(std::move(each));
  }
  return json;
}

// One kind: its table, or its object for `all`.
int TopOfKind(const TopOptions& options, TextOut& out, std::vector<Json>& all) {
  TopRequest what;
  what.group = options.group;
  what.by = NameOfMeasure(options.by).measure;
  what.ascending = options.ascending;
  constexpr size_t kTableCells = 24;
  if (!options.json) what.width = kTableCells;
  ChoiceOptions choice = options.choice;
  choice.kinds = {options.kind};
  if (!TakeChoice("top", choice, what.dump)) return kExitRefused;
  Progress progress;
  TopCollector collector(what, progress);
  for (const std::string& path : options.files) {
    if (!collector.Look(path)) return kExitRefused;
  }
  int status = kExitDone;
  for (const std::string& path : options.files) {
    status = std::max(status, StatusOf(collector.Take(path)));
    progress.Clear();
  }
  collector.Finish();
  const std::vector<const TopResource*> shown = Chosen(collector, options);
  const bool any = !shown.empty();
  const Middles middles = any ? MiddlesOf(what, options, shown, progress) : Middles();
  if (options.json) {
    all.push_back(JsonOf(collector, options, middles));
  } else if (any) {
    PrintTable(out, collector, options, middles);
  }
  if (!any && status == kExitDone) {
    Fail("top", fmt::format("no {} has a value of \"{}\" in the files and times "
                            "asked for",
                            options.kind, options.by));
    status = kExitFailed;
  }
  return status;
}

int Top(TopOptions& options) {
  if (!options.names.Read(options.labels)) return kExitRefused;
  TextOut out(stdout);
  std::vector<Json> all;
  int status = kExitDone;
  if (!OneKindForKey("top", options.choice)) return kExitRefused;
  for (const std::string& kind : KindsOr("ld", options.choice)) {
    options.kind = kind;
    status = std::max(status, TopOfKind(options, out, all));
  }
  PutJson(std::move(all), out);
  return out.FlushOrFail() ? status : kExitUnusable;
}

// Kinds whose entries count something or have a busy ratio.
std::vector<std::string> KindsWithMeasures() {
  std::vector<std::string> words = KindWords();
  std::erase_if(words, [](const std::string& word) {
    const Kind kind = *KindOfWord(word);
    return kind >= kSectionKinds && kind != kWaittm;
  });
  return words;
}

}  // namespace

void AddTopCommand(Command& command, int& status) {
  TopOptions& options = command.Runs<TopOptions>(Top, status);
  AddFilesOption(command, options.files);
  command.AddOption("--by", options.by, "ops, busy, mean, max or volume (default ops)")
      ->Must(OneOf(MeasureWords()));
  command.AddFlag("--ascending", options.ascending, "The least busy first");
  command.AddOption("-n", options.number, "How many resources (default 10)")
      ->Must(Between(1, 1000000));
  AddKeyOptions(command, options.choice, "ld", KindsWithMeasures());
  AddGroupOption(command, options.group)->Must(Between(1, 6));
  AddSpanOptions(command, options.choice);
  command.AddFlag("--ascii", options.ascii,
                  "Bars of plain characters, as in a locale without UTF-8");
  AddJsonFlag(command, options.json);
  AddLabelsOption(command, options.labels);
}

}  // namespace psltool
