// The busiest resources: see the header. Millions of entries pass here, so that of each only the
// columns are decoded that count, and its resource is looked for first where it stood in the record
// before.
#include "tools/showing/top_resources.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <tuple>

#include "tools/output/report.h"

namespace psltool {

// The columns that count, in the places of their numbers.
enum TopCounted : uint8_t {
  kInterval,
  kValid,
  kBusy,
  kOps,
  kFirst,
  kMaximum,
  kSecond,
  kRate,  // of the record, when that is the measure
  kPeak,  // of the measure, where files carry it
  kCountedColumns
};

namespace {

struct MeasureColumns {
  std::optional<Content> rate;  // of the group
  std::optional<Content> peak;
  TopCounted record;  // what the measure of one record is
};

MeasureColumns ColumnsOf(TopMeasure by) {
  switch (by) {
    case TopMeasure::kOps:
      return {Content::kOpsRate, Content::kOpsRateMax, kRate};
    case TopMeasure::kVolume:
      return {Content::kVolumeRate, Content::kVolumeRateMax, kRate};
    case TopMeasure::kBusy:
      return {{}, Content::kFieldMax, kBusy};
    case TopMeasure::kMean:
      return {{}, {}, kFirst};
    case TopMeasure::kMax:
      break;
  }
  return {{}, {}, kMaximum};
}

// The place of each column's number.
std::vector<uint8_t> PlacesOf(const std::vector<Column>& columns, uint32_t group, TopMeasure by) {
  struct Counted {
    ColumnSort sort;
    TopCounted place;
  };
  std::vector<Counted> counted = {{Role::kInterval, kInterval},  {Role::kNotValid, kValid},
                                  {Role::kRatio, kBusy},         {Content::kOps, kOps},
                                  {Content::kFirstMean, kFirst}, {Content::kMaximum, kMaximum}};
  const MeasureColumns measure = ColumnsOf(by);
  if (measure.rate) counted.push_back({*measure.rate, kRate});
  if (measure.peak) counted.push_back({*measure.peak, kPeak});
  // Up to 0x12 the second average is one over time and makes no volume.
  const bool volume = std::any_of(columns.begin(), columns.end(), [&](const Column& column) {
    return column.group == group && column.content == Content::kVolumeRate;
  });
  if (volume) counted.push_back({Content::kSecondMean, kSecond});
  std::vector<uint8_t> places;
  for (const Column& column : columns) {
    const auto found = std::find_if(counted.begin(), counted.end(), [&](const Counted& each) {
      return each.sort == column.sort() && (column.group == 0 || column.group == group);
    });
    places.push_back(found == counted.end() ? ColumnChoice::kNowhere : uint8_t{found->place});
  }
  return places;
}

}  // namespace

// Adds the entries of a file to their resources.
class TopCollector::Writer : public DumpWriter {
 public:
  Writer(TopCollector& collector, std::string path)
      : collector_(collector), path_(std::move(path)) {}

  void Open(const PslHeader& header) override {
    array_ = ArrayOrDash(path_, header.level);
    group_ = &collector_.groups_[array_];
    total_ = &collector_.totals_[array_];
    total_->array = array_;
    total_->cells.resize(collector_.cells());
  }
  void Start(const std::vector<const std::vector<Column>*>& all) override {
    uint32_t groups = 0;
    for (const std::vector<Column>* columns : all) {
      for (const Column& column : *columns) groups = std::max<uint32_t>(groups, column.group);
    }
    const uint32_t group = collector_.request_.group;
    refused_ = group > std::max(groups, 1U);
    if (refused_) {
      Fail(path_, fmt::format("its entries have {} counter groups, not {}", groups, group));
    }
  }
  std::vector<uint8_t> WantsNumbers(const std::vector<Column>& columns) const override {
    return PlacesOf(columns, collector_.request_.group, collector_.request_.by);
  }
  bool failed() const override { return refused_; }

  void StartRecord(const RecordPeriod& period) override {
    EndRecord();
    order_.StartRecord();
    period_ = period;
    // The file may have grown since the first pass.
    cell_ = collector_.cells() == 0 ? 0 : collector_.CellOf(period.stamp);
  }

  void Put(const DumpedEntry& entry) override {
    if (collector_.cells() == 0) return;
    if (columns_ != &entry.columns) LookAt(entry.columns);
    TopResource& resource = ResourceOf(entry);
    numbers_.fill(kNoNumber);
    std::copy(entry.numbers.begin(), entry.numbers.end(), numbers_.begin());
    // Where there is nothing to count an entry can be busy.
    if (counts_ ? std::isnan(numbers_[kOps]) : numbers_[kValid] == 0) return;
    const TopSums sums = Sums();
    resource.cells[cell_].Add(sums);
    record_.Add(sums);
    longest_ = std::max(longest_, sums.milliseconds);
    const double peak = std::isnan(numbers_[kPeak]) ? numbers_[peak_] : numbers_[kPeak];
    if (!std::isnan(peak)) resource.peak.Take(peak, entry.period);
  }

  // Of an array's record the time counts once, whatever number of resources it tells of.
  void EndRecord() {
    record_.milliseconds = longest_;
    if (collector_.cells() != 0) {
      total_->cells[cell_].Add(record_);
      const TopMeasure by = collector_.request_.by;
      const auto measure = record_.Measure(by);
      if (measure) {
        total_->peak.Take(*measure, period_);
        // Of kinds that count no operations a rate of 0 is nobody's median.
        if (counts_ || by == TopMeasure::kBusy) {
          total_->values.emplace_back(*measure, record_.WeightOf(by));
        }
      }
    }
    record_ = {};
    longest_ = 0;
  }

 private:
  TopResource& ResourceOf(const DumpedEntry& entry) {
    std::vector<TopResource>& all = group_->resources;
    return all[order_.Find(entry, group_->numbers, [&](const std::string& key) {
      all.push_back({array_, key, {}, {}, {}});
      all.back().cells.resize(collector_.cells());
      return all.size() - 1;
    })];
  }

  void LookAt(const std::vector<Column>& columns) {
    columns_ = &columns;
    const std::vector<uint8_t> places = WantsNumbers(columns);
    const auto has = [&](TopCounted which) {
      return std::find(places.begin(), places.end(), which) != places.end();
    };
    counts_ = has(kOps);
    has_volume_ = has(kSecond);
    peak_ = ColumnsOf(collector_.request_.by).record;
  }

  double NumberAt(TopCounted which) const {
    return std::isnan(numbers_[which]) ? 0 : numbers_[which];
  }

  TopSums Sums() const {
    constexpr double kVolumeUnit = 1024.0;
    TopSums sums;
    sums.milliseconds = NumberAt(kInterval);
    sums.operations = NumberAt(kOps);
    sums.first = NumberAt(kFirst) * sums.operations;
    sums.kvolume = NumberAt(kSecond) * sums.operations / kVolumeUnit;
    sums.has_volume = has_volume_;
    sums.maximum = NumberAt(kMaximum);
    sums.has_maximum = !std::isnan(numbers_[kMaximum]);
    sums.busy_milliseconds = std::isnan(numbers_[kBusy]) ? 0 : sums.milliseconds;
    sums.busy = NumberAt(kBusy) * sums.busy_milliseconds;
    return sums;
  }

  TopCollector& collector_;
  std::string path_;
  std::string array_;
  bool refused_ = false;
  Group* group_ = nullptr;
  TopTotal* total_ = nullptr;
  const std::vector<Column>* columns_ = nullptr;
  bool counts_ = false;  // operations
  bool has_volume_ = false;
  TopCounted peak_ = kRate;
  std::array<double, kCountedColumns> numbers_ = {};  // of the entry at hand
  RecordPeriod period_;                               // of the record at hand
  size_t cell_ = 0;
  ResourceOrder order_;
  TopSums record_;
  double longest_ = 0;
};

bool TopCollector::Look(const std::string& path) {
  const DumpRequest& dump = request_.dump;
  const auto note = [this](const RecordPeriod& period) { Note(period); };
  FileCover cover;
  if (!Cover(path, {dump.from, dump.to, dump.zone}, progress_, note, cover)) return true;
  if (cover.covered.empty()) return true;
  for (const FileCover& other : parts_[cover.array]) {
    if (Meet(cover, other)) return FailTwice(cover, other, progress_);
  }
  parts_[cover.array].push_back(std::move(cover));
  return true;
}

void TopCollector::Note(const RecordPeriod& period) {
  const uint32_t begin = period.level == 'L' ? period.stamp : period.begin;
  if (!span_) span_.emplace(begin, period.end);
  span_->first = std::min(span_->first, begin);
  span_->second = std::max(span_->second, period.end);
  const uint32_t stamp = period.stamp;
  if (!stamped_) stamped_.emplace(stamp, stamp);
  stamped_->first = std::min(stamped_->first, stamp);
  stamped_->second = std::max(stamped_->second, stamp);
  if (crowded_) return;
  const auto place = std::lower_bound(stamps_.begin(), stamps_.end(), stamp);
  if (place != stamps_.end() && *place == stamp) return;
  stamps_.insert(place, stamp);
  crowded_ = stamps_.size() > request_.width;
}

size_t TopCollector::cells() const { return crowded_ ? request_.width : stamps_.size(); }

// While each stamp has a cell of its own they are numbered, else the span is cut into equal parts.
size_t TopCollector::CellOf(uint32_t stamp) const {
  if (!crowded_) {
    const auto place = std::lower_bound(stamps_.begin(), stamps_.end(), stamp);
    return std::min(static_cast<size_t>(place - stamps_.begin()), cells() - 1);
  }
  const uint64_t length = uint64_t{stamped_->second} - stamped_->first + 1;
  const uint64_t at = std::clamp(stamp, stamped_->first, stamped_->second) - stamped_->first;
  return static_cast<size_t>(at * request_.width / length);
}

DumpEnd TopCollector::Take(const std::string& path) {
  request_.dump.path = path;
  Writer writer(*this, path);
  const TextOut nowhere(stdout);
  const DumpEnd end = DumpFile(request_.dump, writer, nowhere, progress_);
  if (writer.failed()) return DumpEnd::kRefused;
  if (end != DumpEnd::kUnreadable && end != DumpEnd::kRefused) writer.EndRecord();
  return end;
}

void TopCollector::Finish() {
  for (auto& [array, group] : groups_) {
    for (TopResource& resource : group.resources) {
      for (const TopSums& cell : resource.cells) resource.all.Add(cell);
    }
    totals_[array].resources = group.resources.size();
  }
  for (auto& [array, total] : totals_) {
    for (const TopSums& cell : total.cells) total.all.Add(cell);
  }
  std::erase_if(totals_, [](const auto& each) { return each.second.resources == 0; });
}

std::vector<const TopResource*> TopCollector::Ranked() const {
  std::vector<const TopResource*> ranked;
  for (const auto& [array, group] : groups_) {
    for (const TopResource& resource : group.resources) {
      if (resource.all.Measure(request_.by)) ranked.push_back(&resource);
    }
  }
  const auto value = [this](const TopResource* resource) {
    // Over the whole span the count itself ranks: a resource that was seen for an hour only did
    // less.
    if (request_.by == TopMeasure::kOps) return resource->all.operations;
    return *resource->all.Measure(request_.by);
  };
  std::sort(ranked.begin(), ranked.end(), [&](const TopResource* a, const TopResource* b) {
    const double of_a = value(a);
    const double of_b = value(b);
    if (of_a != of_b) return request_.ascending ? of_a < of_b : of_a > of_b;
    return std::tie(a->array, a->key) < std::tie(b->array, b->key);
  });
  return ranked;
}

}  // namespace psltool
