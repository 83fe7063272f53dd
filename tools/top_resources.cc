// The busiest resources: see the header. Millions of entries pass here, so that of each only the
// columns are decoded that count, and its resource is looked for first where it stood in the record
// before.
#include "tools/top_resources.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <tuple>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/array_tables.h"
#include "tools/file_summary.h"
#include "tools/report.h"

namespace {

// What stands for the array of a file whose name tells none.
std::string ArrayOf(const std::string& path, char level) {
  const std::string array = PartsOfName(path, level).array;
  return array.empty() ? "-" : array;
}

// The columns that count, in the places of `Places`.
enum Counted : uint8_t {
  kInterval,
  kValid,
  kBusy,
  kOps,
  kFirst,
  kMaximum,
  kVolume,
  kPeak,    // of the measure, where files carry it
  kRecord,  // what one record amounts to, where they do not
  kCountedColumns
};
using Places = std::array<std::optional<size_t>, kCountedColumns>;

Places PlacesOf(const std::vector<Column>& columns, uint32_t group, TopMeasure by) {
  const auto of_group = [group](const char* name) { return fmt::format("g{}_{}", group, name); };
  std::array<std::string, kCountedColumns> names = {"interval_ms",
                                                    "valid",
                                                    "busy_pct",
                                                    of_group("ops"),
                                                    of_group("first_mean"),
                                                    of_group("max"),
                                                    of_group("second_mean")};
  constexpr const char* kPeaks[] = {"ops_per_s_max", "busy_pct_max", "", "", "kvolume_per_s_max"};
  constexpr const char* kRecords[] = {"ops_per_s", "busy_pct", "first_mean", "max",
                                      "kvolume_per_s"};
  const auto measure = static_cast<size_t>(by);
  names[kPeak] = by == TopMeasure::kBusy ? kPeaks[measure] : of_group(kPeaks[measure]);
  names[kRecord] = by == TopMeasure::kBusy ? kRecords[measure] : of_group(kRecords[measure]);
  // Up to 0x12 the second average is one over time and makes no volume.
  const bool volume = std::any_of(columns.begin(), columns.end(), [&](const Column& column) {
    return column.name == of_group("kvolume_per_s");
  });
  if (!volume) names[Counted::kVolume].clear();
  Places places;
  for (size_t i = 0; i < columns.size(); ++i) {
    for (size_t each = 0; each < kCountedColumns; ++each) {
      if (columns[i].name == names[each]) places[each] = i;
    }
  }
  return places;
}

std::optional<double> NumberAt(const std::vector<Value>& values, std::optional<size_t> at) {
  if (!at) return std::nullopt;
  const Value& value = values[*at];
  if (const auto* number = std::get_if<uint64_t>(&value)) return static_cast<double>(*number);
  if (const auto* real = std::get_if<double>(&value)) return *real;
  return std::nullopt;
}

}  // namespace

// Adds the entries of a file to their resources.
class TopCollector::Writer : public DumpWriter {
 public:
  Writer(TopCollector& collector, std::string path)
      : collector_(collector), path_(std::move(path)) {}

  void Open(const PslHeader& header) override {
    array_ = ArrayOf(path_, header.level);
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
    const uint32_t group = collector_.wishes_.group;
    refused_ = group > std::max(groups, 1U);
    if (refused_) {
      static_cast<void>(
          Fail(path_, fmt::format("its entries have {} counter groups, not {}", groups, group)));
    }
  }
  std::vector<bool> Wants(const std::vector<Column>& columns) const override {
    std::vector<bool> wanted(columns.size(), false);
    const TopWishes& wishes = collector_.wishes_;
    for (const auto& place : PlacesOf(columns, wishes.group, wishes.by)) {
      if (place) wanted[*place] = true;
    }
    return wanted;
  }
  bool failed() const override { return refused_; }

  void StartRecord(const RecordPeriod& period) override {
    EndRecord();
    place_ = 0;
    period_ = period;
    // The file may have grown since the first pass.
    cell_ = collector_.cells() == 0 ? 0 : collector_.CellOf(period.stamp);
  }

  void Put(const DumpedEntry& entry) override {
    if (collector_.cells() == 0) return;
    if (columns_ != &entry.columns) {
      columns_ = &entry.columns;
      places_ = PlacesOf(entry.columns, collector_.wishes_.group, collector_.wishes_.by);
    }
    TopResource& resource = ResourceOf(entry);
    const std::optional<double> ops = NumberAt(entry.values, places_[kOps]);
    const bool valid = !places_[kValid] || std::get<bool>(entry.values[*places_[kValid]]);
    // Where there is nothing to count an entry can be busy.
    if (!ops && (places_[kOps] || !valid)) return;
    const TopSums sums = SumsOf(entry.values, ops.value_or(0));
    resource.cells[cell_].Add(sums);
    const auto peak = NumberAt(entry.values, places_[kPeak]);
    resource.peak.Take(peak ? peak : NumberAt(entry.values, places_[kRecord]), entry.period);
    record_.Add(sums);
    longest_ = std::max(longest_, sums.milliseconds);
  }

  // Of an array's record the time counts once, whatever number of resources it tells of.
  void EndRecord() {
    record_.milliseconds = longest_;
    if (collector_.cells() != 0) {
      total_->cells[cell_].Add(record_);
      total_->peak.Take(record_.Measure(collector_.wishes_.by), period_);
    }
    record_ = {};
    longest_ = 0;
  }

 private:
  TopResource& ResourceOf(const DumpedEntry& entry) {
    std::vector<TopResource>& all = group_->resources;
    if (entry.form == nullptr) {
      const auto& key = std::get<std::string>(entry.values.front());
      const auto [found, is_new] = group_->by_text.try_emplace(key, all.size());
      if (is_new) AddResource(key);
      return all[found->second];
    }
    const uint64_t key = uint64_t{entry.key_count} << 32 | entry.key;
    const size_t place = place_++;
    if (place < order_.size() && order_[place].first == key) return all[order_[place].second];
    const auto [found, is_new] = group_->by_key.try_emplace(key, all.size());
    if (is_new) AddResource(KeyText(entry.form->key, entry.key_count, entry.key));
    if (place >= order_.size()) order_.resize(place + 1);
    order_[place] = {key, found->second};
    return all[found->second];
  }

  void AddResource(const std::string& key) {
    group_->resources.push_back({array_, key, {}, {}, {}});
    group_->resources.back().cells.resize(collector_.cells());
  }

  TopSums SumsOf(const std::vector<Value>& values, double ops) const {
    TopSums sums;
    sums.milliseconds = NumberAt(values, places_[kInterval]).value_or(0);
    sums.operations = ops;
    sums.first = NumberAt(values, places_[kFirst]).value_or(0) * ops;
    if (places_[Counted::kVolume]) {
      constexpr double kUnit = 1024.0;
      sums.kvolume = NumberAt(values, places_[Counted::kVolume]).value_or(0) * ops / kUnit;
      sums.has_volume = true;
    }
    if (const auto maximum = NumberAt(values, places_[kMaximum])) {
      sums.maximum = *maximum;
      sums.has_maximum = true;
    }
    if (const auto busy = NumberAt(values, places_[kBusy])) {
      sums.busy = *busy * sums.milliseconds;
      sums.busy_milliseconds = sums.milliseconds;
    }
    return sums;
  }

  TopCollector& collector_;
  std::string path_;
  std::string array_;
  bool refused_ = false;
  Group* group_ = nullptr;
  TopTotal* total_ = nullptr;
  const std::vector<Column>* columns_ = nullptr;
  Places places_;
  RecordPeriod period_;  // of the record at hand
  size_t cell_ = 0;
  size_t place_ = 0;                                // of the next entry in its section
  std::vector<std::pair<uint64_t, size_t>> order_;  // keys and resources by place
  TopSums record_;
  double longest_ = 0;
};

bool TopCollector::Look(const std::string& path) {
  PslReader reader(path, PslReader::Reports::kKept);
  if (!reader.Open()) return true;
  const DumpWishes& dump = wishes_.dump;
  FilePeriods periods(path, dump.zone);
  Part part = {path, {}};
  while (reader.NextHeader()) {
    progress_.Show(path, reader.position(), reader.size());
    if (reader.tag() != "STA") continue;
    const RecordPeriod period =
        periods.Of(reader.position(), Load32(reader.record().data() + kAtTime));
    if (!LiesIn(period, dump.from, dump.to, dump.zone)) continue;
    Note(period);
    part.covered.push_back(CoverOf(period));
  }
  if (part.covered.empty()) return true;
  std::vector<CoveredTime>& covered = part.covered;
  std::sort(covered.begin(), covered.end(),
            [](const CoveredTime& a, const CoveredTime& b) { return a.first < b.first; });
  size_t last = 0;
  for (const CoveredTime& each : covered) {
    const bool joins = each.first <= covered[last].last || each.first == covered[last].last + 1;
    if (!joins) covered[++last] = each;
    covered[last].last = std::max(covered[last].last, each.last);
  }
  covered.resize(last + 1);
  const std::string array = ArrayOf(path, reader.header().level);
  for (const Part& other : parts_[array]) {
    if (!Meet(part, other)) continue;
    progress_.Clear();
    return Fail(path, fmt::format("holds the same time of array {} as {}: its intervals would "
                                  "count twice; name one of them, or use --from and --to",
                                  array, other.path));
  }
  parts_[array].push_back(std::move(part));
  return true;
}

// One file may end with the second with which the next begins: the interval before midnight.
bool TopCollector::Meet(const Part& a, const Part& b) {
  const auto follows = [](const Part& early, const Part& late) {
    const uint32_t end = early.covered.back().last;
    return end == late.covered.front().first && early.covered.front().first < end &&
           late.covered.back().last > end;
  };
  const bool in_a_row = follows(a, b) || follows(b, a);
  auto at = a.covered.begin();
  auto other = b.covered.begin();
  while (at != a.covered.end() && other != b.covered.end()) {
    const uint32_t first = std::max(at->first, other->first);
    const uint32_t last = std::min(at->last, other->last);
    if (first < last || (first == last && !in_a_row)) return true;
    at->last < other->last ? ++at : ++other;
  }
  return false;
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
  crowded_ = stamps_.size() > wishes_.width;
}

size_t TopCollector::cells() const { return crowded_ ? wishes_.width : stamps_.size(); }

// While each stamp has a cell of its own they are numbered, else the span is cut into equal parts.
size_t TopCollector::CellOf(uint32_t stamp) const {
  if (!crowded_) {
    const auto place = std::lower_bound(stamps_.begin(), stamps_.end(), stamp);
    return std::min(static_cast<size_t>(place - stamps_.begin()), cells() - 1);
  }
  const uint64_t length = uint64_t{stamped_->second} - stamped_->first + 1;
  const uint64_t at = std::clamp(stamp, stamped_->first, stamped_->second) - stamped_->first;
  return static_cast<size_t>(at * wishes_.width / length);
}

DumpEnd TopCollector::Take(const std::string& path) {
  wishes_.dump.path = path;
  Writer writer(*this, path);
  const TextOut nowhere(stdout);
  const DumpEnd end = DumpFile(wishes_.dump, writer, nowhere, progress_);
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
      if (resource.all.Measure(wishes_.by)) ranked.push_back(&resource);
    }
  }
  const auto value = [this](const TopResource* resource) {
    // Over the whole span the count itself ranks: a resource that was seen for an hour only did
    // less.
    if (wishes_.by == TopMeasure::kOps) return resource->all.operations;
    return *resource->all.Measure(wishes_.by);
  };
  std::sort(ranked.begin(), ranked.end(), [&](const TopResource* a, const TopResource* b) {
    const double of_a = value(a);
    const double of_b = value(b);
    if (of_a != of_b) return wishes_.ascending ? of_a < of_b : of_a > of_b;
    return std::tie(a->array, a->key) < std::tie(b->array, b->key);
  });
  return ranked;
}
