// Command line of `psltool chart`, and the values that it draws.
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tools/commands/commands.h"
#include "tools/commands/dump_options.h"
#include "tools/commands/files_option.h"
#include "tools/drawing/chart.h"
#include "tools/measures/series.h"
#include "tools/measures/statistics.h"
#include "tools/output/report.h"

namespace psltool {

namespace {

struct ChartOptions {
  std::vector<std::string> files;
  std::string out;
  std::string kind = "ld";
  std::string measure;
  uint32_t group = 1;
  int width = 960;
  int height = 420;
  std::string labels;
  ChoiceOptions choice;
};

// Gathers the values of one measure by array: of a resource, or of all of a kind together.
class Gatherer : public SeriesSink {
 public:
  Gatherer(const Measure& measure, const SeriesReader& reader, bool one)
      : measure_(measure), reader_(reader), one_(one) {}

  struct Line {
    std::set<std::string> keys;
    std::vector<ChartPoint> points;
    Sums sums;
    Distribution values;
    bool has_band = false;
  };

  void StartRecord(const FileCover& file, const RecordPeriod& period) override {
    EndRecord();
    levels_.insert(file.header.level);
    array_ = file.array;
    period_ = period;
  }

  void Put(const SeriesEntry& entry) override {
    const Point& point = entry.points.front();
    if (std::isnan(point.value)) return;
    keys_.insert(reader_.resources()[entry.resource].key);
    longest_ = std::max(longest_, std::isnan(entry.milliseconds) ? 0 : entry.milliseconds);
    largest_ = count_ == 0 ? point.value : std::max(largest_, point.value);
    ++count_;
    total_ += point.value;
    weight_ += point.weight;
    weighted_ += point.value * point.weight;
    point_ = point;
  }

  // The record at hand is whole.
  void EndRecord() {
    if (count_ != 0) AddPoint();
    keys_.clear();
    count_ = 0;
    longest_ = total_ = weight_ = weighted_ = 0;
  }

  std::map<std::string, Line>& lines() { return lines_; }
  const std::set<char>& levels() const { return levels_; }

 private:
  void AddPoint() {
    Point point = point_;
    if (!one_) {
      // Extremes of several resources are not those of their sum.
      if (measure_.together == Together::kMean && !(weight_ > 0)) return;
      const bool sum = measure_.together == Together::kSum;
      point.value = sum                                       ? total_
                    : measure_.together == Together::kLargest ? largest_
                                                              : weighted_ / weight_;
      point.most = point.least = point.value;
      point.weight = measure_.weight == Weight::kOperations ? weight_ : longest_;
    }
    Line& line = lines_[array_];
    line.keys.insert(keys_.begin(), keys_.end());
    line.has_band = line.has_band || point.most > point.value || point.least < point.value;
    line.sums.Add(point, period_);
    line.values.Add(point.value, point.weight);
    line.points.push_back({period_.begin, period_.end, point.value, point.most, point.least});
  }

  const Measure& measure_;
  const SeriesReader& reader_;
  bool one_;
  std::map<std::string, Line> lines_;  // by array
  std::set<char> levels_;
  std::string array_;
  RecordPeriod period_;
  std::set<std::string> keys_;  // of the record at hand
  size_t count_ = 0;
  double longest_ = 0;
  double total_ = 0;
  double largest_ = 0;
  double weight_ = 0;
  double weighted_ = 0;
  Point point_ = {};
};

std::string LevelsText(const std::set<char>& levels) {
  std::string text;
  for (const auto& [level, word] :
       {std::pair{'L', "logs"}, std::pair{'H', "hour archives"}, std::pair{'D', "day archives"}}) {
    if (levels.contains(level)) text += (text.empty() ? "" : " and ") + std::string(word);
  }
  return text;
}

// What one interval is, where all are of one length.
std::string IntervalText(const std::set<char>& levels) {
  if (levels == std::set<char>{'H'}) return "hour";
  return levels == std::set<char>{'D'} ? "day" : "interval";
}

std::string Number(std::optional<double> value, const Measure& measure) {
  return value ? fmt::format("{:.{}f}", *value, measure.digits) : "-";
}

std::string StatisticsText(Gatherer::Line& line, const Measure& measure, const std::string& unit,
                           Zone zone) {
  std::string text;
  if (measure.together != Together::kLargest) {
    text = fmt::format("mean {}, ", Number(line.sums.Value(measure), measure));
  }
  text += fmt::format("median {}, 95th percentile {}",
                      Number(line.values.Percentile(kMedianPercent), measure),
                      Number(line.values.Percentile(kHighPercent), measure));
  if (line.sums.most) {
    text += fmt::format(", largest {} in {}", Number(line.sums.most->value, measure),
                        PeriodText(line.sums.most->period, zone));
  }
  return text + (unit.empty() ? "" : fmt::format(" ({})", unit));
}

// Puts titles, axes and lines together.
Chart MakeChart(const ChartOptions& options, const Measure& measure, const Labels& labels,
                Gatherer& gatherer) {
  const Zone zone = options.choice.zone();
  const bool one = !options.choice.key.empty();
  Chart chart;
  chart.zone = zone;
  chart.axis = HeadOf(measure, labels);
  bool first = true;
  bool thinned = false;
  bool band = false;
  const size_t places = static_cast<size_t>(options.width);
  std::map<std::string, Gatherer::Line>& lines = gatherer.lines();
  for (auto& [array, line] : lines) {
    std::stable_sort(line.points.begin(), line.points.end(),
                     [](const ChartPoint& a, const ChartPoint& b) { return a.begin < b.begin; });
    for (const ChartPoint& point : line.points) {
      chart.first = first ? point.begin : std::min(chart.first, point.begin);
      chart.last = first ? point.end : std::max(chart.last, point.end);
      first = false;
    }
    thinned = thinned || line.points.size() > places;
    band = band || line.has_band;
  }
  for (auto& [array, line] : lines) {
    chart.lines.push_back(
        {lines.size() > 1 ? array : "", Thinned(line.points, chart.first, chart.last, places)});
  }
  const auto& [array, line] = *lines.begin();
  const std::string which =
      one ? fmt::format("{} {}{}", options.kind, *line.keys.begin(),
                        labels.BehindResource(array, options.kind, *line.keys.begin()))
          : fmt::format("all {} {}", line.keys.size(), options.kind);
  chart.title = fmt::format("{}{}: {}", lines.size() > 1 ? "" : array + " ", which, measure.title);
  if (measure.grouped) {
    chart.subtitle = GroupText(options.kind, options.group, labels) + ", ";
  }
  chart.subtitle +=
      fmt::format("{} to {} ({}), {}", TimeText(static_cast<uint32_t>(chart.first), zone),
                  TimeText(static_cast<uint32_t>(chart.last), zone),
                  zone == Zone::kUtc ? "UTC" : "local time", LevelsText(gatherer.levels()));
  const std::string interval = thinned ? "place of the line" : IntervalText(gatherer.levels());
  const bool mean = measure.together != Together::kLargest;
  chart.line = fmt::format("{} of each {}", mean ? "mean" : "largest", interval);
  if (band || thinned) {
    chart.band = fmt::format("from the smallest to the largest {}",
                             band ? "single interval in it" : "value in it");
  }
  if (lines.size() == 1) {
    chart.footer = StatisticsText(lines.begin()->second, measure, UnitOf(measure, labels), zone);
  }
  return chart;
}

// A group that the kind does not have, or a measure. False: reported.
bool TakeMeasure(const ChartOptions& options, Kind kind, SeriesRequest& request) {
  std::string name = options.measure;
  if (name.empty()) name = GroupsOfKind(kind) > 0 ? "ops" : "busy";
  const Measure& measure = *MeasureOf(name);
  if (!HasMeasure(kind, measure)) {
    return Fail("chart", fmt::format("{} has no {}", options.kind, name));
  }
  if (measure.grouped && options.group > GroupsOfKind(kind)) {
    return Fail("chart", fmt::format("entries of {} have {} counter groups, not {}", options.kind,
                                     GroupsOfKind(kind), options.group));
  }
  request.measures = {{&measure, static_cast<uint8_t>(measure.grouped ? options.group : 0)}};
  return true;
}

int DrawOf(const ChartOptions& options) {
  if (!options.out.ends_with(".svg") && !options.out.ends_with(".png")) {
    return FailWith(kExitRefused, "chart -o",
                    fmt::format("'{}' ends in neither .svg nor .png", options.out));
  }
  ChoiceOptions choice = options.choice;
  choice.kinds = {options.kind};
  SeriesRequest request;
  Labels labels;
  if (!TakeChoice("chart", choice, request.dump) ||
      !TakeMeasure(options, request.dump.kinds.front(), request) ||
      !MayWrite("chart -o", options.out, options.files, {options.labels}) ||
      !labels.Read(options.labels)) {
    return kExitRefused;
  }
  Progress progress;
  SeriesReader reader(request, progress);
  if (!reader.Look(options.files)) return kExitRefused;
  const Measure& measure = *request.measures.front().measure;
  Gatherer gatherer(measure, reader, request.dump.key.has_value());
  const int status = reader.Walk(gatherer);
  gatherer.EndRecord();
  if (status != kExitDone && gatherer.lines().empty()) return status;
  if (!HasWhatWasAsked("chart", choice, request.dump, reader.count())) return kExitFailed;
  if (gatherer.lines().empty()) {
    return FailWith(
        kExitFailed, "chart",
        fmt::format("no {} of the files and times asked for has a {}", options.kind, measure.name));
  }
  for (const auto& [array, line] : gatherer.lines()) {
    if (choice.key.empty() || line.keys.size() == 1) continue;
    return FailWith(kExitRefused, "chart --key",
                    fmt::format("'{}' stands for several {}; give all its "
                                "bytes",
                                choice.key, options.kind));
  }
  const Chart chart = MakeChart(options, measure, labels, gatherer);
  return DrawChart(chart, {options.width, options.height}, options.out) ? status : kExitUnusable;
}

}  // namespace

void AddChartCommand(Command& command, int& status) {
  ChartOptions& options = command.Runs<ChartOptions>(DrawOf, status);
  AddFilesOption(command, options.files);
  command.AddOption("-o,--out", options.out, "Picture to write, x.svg or x.png")->Required();
  command.AddOption("-k,--kind", options.kind, "Kind of the resources (default ld)")
      ->Must(OneOf(KindWords()));
  command
      .AddOption("--key", options.choice.key,
                 "Its key: a number, or key bytes with points between (default: all of the "
                 "kind together)")
      ->StandsFor(Stands::kText);
  command
      .AddOption("-m,--measure", options.measure,
                 "What is drawn (default ops, of kinds that count none busy)")
      ->Must(OneOf(MeasureNames()));
  AddGroupOption(command, options.group)->Must(Between(1, 6));
  constexpr int kLeastWidth = 320;
  constexpr int kLeastHeight = 240;
  constexpr int kMost = 10000;
  command.AddOption("--width", options.width, "Width in points (default 960)")
      ->Must(Between(kLeastWidth, kMost));
  command.AddOption("--height", options.height, "Height in points (default 420)")
      ->Must(Between(kLeastHeight, kMost));
  AddSpanOptions(command, options.choice);
  AddLabelsOption(command, options.labels);
}

}  // namespace psltool
