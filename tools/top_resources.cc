// The busiest resources: see the header.
#include "tools/top_resources.h"

#include <fmt/format.h>

#include <algorithm>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/file_summary.h"
#include "tools/report.h"

namespace {

// What stands for the array of a file whose name tells none.
std::string ArrayOf(const std::string& path, char level) {
  const std::string array = PartsOfName(path, level).array;
  return array.empty() ? "-" : array;
}

std::optional<double> NumberAt(const std::vector<Value>& values, std::optional<size_t> at) {
  if (!at) return std::nullopt;
  const Value& value = values[*at];
  if (const auto* number = std::get_if<uint64_t>(&value)) return static_cast<double>(*number);
  if (const auto* real = std::get_if<double>(&value)) return *real;
  return std::nullopt;
}

std::optional<size_t> PlaceOfColumn(const std::vector<Column>& columns, const std::string& name) {
  const auto found = std::find_if(columns.begin(), columns.end(),
                                  [&name](const Column& c) { return c.name == name; });
  if (found == columns.end()) return std::nullopt;
  return static_cast<size_t>(found - columns.begin());
}

}  // namespace

void TopSums::Add(const TopSums& other) {
  operations += other.operations;
  milliseconds += other.milliseconds;
  first += other.first;
  busy += other.busy;
  busy_milliseconds += other.busy_milliseconds;
  if (other.maximum) maximum = std::max(maximum.value_or(0), *other.maximum);
}

std::optional<double> TopSums::Rate() const {
  if (!(milliseconds > 0)) return std::nullopt;
  return operations * 1000.0 / milliseconds;
}

std::optional<double> TopSums::Mean() const {
  if (!(operations > 0)) return std::nullopt;
  return first / operations;
}

std::optional<double> TopSums::Busy() const {
  if (!(busy_milliseconds > 0)) return std::nullopt;
  return busy / busy_milliseconds;
}

std::optional<double> TopSums::Measure(TopMeasure measure) const {
  switch (measure) {
    case TopMeasure::kOps:
      return Rate();
    case TopMeasure::kBusy:
      return Busy();
    case TopMeasure::kMean:
      return Mean();
    case TopMeasure::kMax:
      break;
  }
  return maximum;
}

// Adds the entries of a file to their resources.
class TopCollector::Writer : public DumpWriter {
 public:
  Writer(TopCollector& collector, std::string path)
      : collector_(collector), path_(std::move(path)) {}

  void Open(const PslHeader& header) override { array_ = ArrayOf(path_, header.level); }
  void Start(const std::vector<const std::vector<Column>*>& all) override {
    uint32_t groups = 0;
    for (const std::vector<Column>* columns : all) {
      for (const Column& column : *columns) groups = std::max<uint32_t>(groups, column.group);
    }
    const uint32_t group = collector_.wishes_.group;
    refused_ = group > std::max(groups, 1U);
    if (refused_) {
      static_cast<void>(
          Fail(path_, fmt::format("its entries have {} counter groups, not {}", groups, group)));
    }
  }
  bool failed() const override { return refused_; }

  void Put(const DumpedEntry& entry) override {
    // The file has grown since the first pass.
    if (collector_.cells() == 0) return;
    if (columns_ != &entry.columns) FindColumns(entry.columns);
    const TopSums sums = SumsOf(entry.values);
    const auto& key = std::get<std::string>(entry.values.front());
    TopResource& resource = collector_.resources_[{array_, key}];
    if (resource.cells.empty()) {
      resource.array = array_;
      resource.key = key;
      resource.cells.resize(collector_.cells());
    }
    resource.all.Add(sums);
    resource.cells[collector_.CellOf(entry.period.stamp)].Add(sums);
  }

 private:
  void FindColumns(const std::vector<Column>& columns) {
    columns_ = &columns;
    const auto group = [&](const char* name) {
      return PlaceOfColumn(columns, fmt::format("g{}_{}", collector_.wishes_.group, name));
    };
    interval_ = PlaceOfColumn(columns, "interval_ms");
    valid_ = PlaceOfColumn(columns, "valid");
    busy_ = PlaceOfColumn(columns, "busy_pct");
    operations_ = group("ops");
    first_ = group("first_mean");
    maximum_ = group("max");
  }

  TopSums SumsOf(const std::vector<Value>& values) const {
    TopSums sums;
    const bool measured = !valid_ || std::get<bool>(values[*valid_]);
    const double interval = NumberAt(values, interval_).value_or(0);
    if (!measured || !(interval > 0)) return sums;
    sums.milliseconds = interval;
    sums.operations = NumberAt(values, operations_).value_or(0);
    sums.first = NumberAt(values, first_).value_or(0) * sums.operations;
    sums.maximum = NumberAt(values, maximum_);
    if (const auto busy = NumberAt(values, busy_)) {
      sums.busy = *busy * interval;
      sums.busy_milliseconds = interval;
    }
    return sums;
  }

  TopCollector& collector_;
  std::string path_;
  std::string array_;
  bool refused_ = false;
  const std::vector<Column>* columns_ = nullptr;
  std::optional<size_t> interval_;
  std::optional<size_t> valid_;
  std::optional<size_t> busy_;
  std::optional<size_t> operations_;
  std::optional<size_t> first_;
  std::optional<size_t> maximum_;
};

bool TopCollector::Look(const std::string& path) {
  PslReader reader(path, PslReader::Reports::kKept);
  if (!reader.Open()) return true;
  const DumpWishes& dump = wishes_.dump;
  std::optional<Part> part;
  while (reader.NextHeader()) {
    progress_.Show(path, reader.position(), reader.size());
    if (reader.tag() != "STA") continue;
    const uint32_t stamp = Load32(reader.record().data() + kAtTime);
    if ((dump.from && stamp < *dump.from) || (dump.to && stamp > *dump.to)) continue;
    Note(stamp);
    if (!part) part = Part{path, stamp, stamp};
    part->first = std::min(part->first, stamp);
    part->last = std::max(part->last, stamp);
  }
  if (!part) return true;
  const std::string array = ArrayOf(path, reader.header().level);
  for (const Part& other : parts_[array]) {
    // One may end where the next begins.
    const bool apart = part->first >= other.last || other.first >= part->last;
    const bool same = part->first == other.first && part->last == other.last;
    if (apart && !same) continue;
    progress_.Clear();
    return Fail(path, fmt::format("holds the same time of array {} as {}: its intervals would "
                                  "count twice; name one of them, or use --from and --to",
                                  array, other.path));
  }
  parts_[array].push_back(*part);
  return true;
}

void TopCollector::Note(uint32_t stamp) {
  if (!span_) span_.emplace(stamp, stamp);
  span_->first = std::min(span_->first, stamp);
  span_->second = std::max(span_->second, stamp);
  if (crowded_) return;
  const auto place = std::lower_bound(stamps_.begin(), stamps_.end(), stamp);
  if (place != stamps_.end() && *place == stamp) return;
  stamps_.insert(place, stamp);
  crowded_ = stamps_.size() > wishes_.width;
}

size_t TopCollector::cells() const { return crowded_ ? wishes_.width : stamps_.size(); }

// While each stamp has a cell of its own they are numbered, else the span is cut into equal parts.
size_t TopCollector::CellOf(uint32_t stamp) const {
  if (!crowded_) {
    const auto place = std::lower_bound(stamps_.begin(), stamps_.end(), stamp);
    return std::min(static_cast<size_t>(place - stamps_.begin()), cells() - 1);
  }
  const uint64_t length = uint64_t{span_->second} - span_->first + 1;
  const uint64_t at = std::clamp(stamp, span_->first, span_->second) - span_->first;
  return static_cast<size_t>(at * wishes_.width / length);
}

DumpEnd TopCollector::Take(const std::string& path) {
  wishes_.dump.path = path;
  Writer writer(*this, path);
  const TextOut nowhere(stdout);
  const DumpEnd end = DumpFile(wishes_.dump, writer, nowhere, progress_);
  return writer.failed() ? DumpEnd::kRefused : end;
}

std::vector<const TopResource*> TopCollector::Ranked() const {
  std::vector<const TopResource*> ranked;
  for (const auto& [name, resource] : resources_) ranked.push_back(&resource);
  const auto value = [this](const TopResource* resource) -> std::optional<double> {
    // Over the whole span the count itself ranks: a resource that was seen for an hour only did
    // less.
    if (wishes_.by == TopMeasure::kOps) return resource->all.operations;
    return resource->all.Measure(wishes_.by);
  };
  std::stable_sort(ranked.begin(), ranked.end(), [&](const TopResource* a, const TopResource* b) {
    return value(a).value_or(-1) > value(b).value_or(-1);
  });
  return ranked;
}
