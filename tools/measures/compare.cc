// Comparing: see the header. Files are walked twice: for the sums of all resources, then for the
// values of those whose changes are told.
#include "tools/measures/compare.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <set>
#include <tuple>
#include <unordered_map>

#include "tools/output/report.h"

namespace psltool {

namespace {

constexpr size_t kCells = size_t{7} * 24;

size_t CellOf(const RecordPeriod& period, Matching matching, Zone zone) {
  if (matching == Matching::kNone) return 0;
  const Civil begin = CivilAt(period.begin, zone);
  const auto hour = static_cast<size_t>((begin - CivilOf(DateOf(begin))) / kSecondsOfHour);
  if (matching == Matching::kHours) return hour;
  const size_t weekday = WeekdayOf(begin);
  return matching == Matching::kWeekdays ? weekday : 24 * weekday + hour;
}

using WeekOfHours = std::array<double, kCells>;

struct Sum {
  double weight = 0;
  double sum = 0;
  double largest = 0;  // value
  double most = 0;     // of single intervals
  uint32_t intervals = 0;
};

// One of the two spans.
class Side : public SeriesSink {
 public:
  Side(const SeriesRequest& request, Matching matching, Progress& progress)
      : reader_(request, progress), matching_(matching), width_(request.measures.size()) {}

  bool Look(const std::vector<std::string>& paths) { return reader_.Look(paths); }

  // Seconds of each array's records, by cell.
  std::map<std::string, WeekOfHours> Seconds() const {
    std::map<std::string, WeekOfHours> all;
    reader_.EachRecord([&](const FileCover& file, const RecordPeriod& period) {
      all[file.array][Cell(period)] += std::max<double>(1.0, period.end - period.begin);
    });
    return all;
  }

  // What intervals of each cell weigh, so that a cell weighs the same in both spans.
  void TakeFactors(const std::map<std::string, WeekOfHours>& own,
                   const std::map<std::string, WeekOfHours>& other) {
    for (const auto& [array, seconds] : own) {
      WeekOfHours& factors = factors_[array];
      factors.fill(1);
      // An array that only one span holds is compared with nothing, hour by hour.
      const auto found = other.find(array);
      if (matching_ == Matching::kNone || found == other.end()) continue;
      for (size_t i = 0; i < kCells; ++i) {
        factors[i] = seconds[i] > 0 ? std::min(seconds[i], found->second[i]) / seconds[i] : 0;
      }
    }
  }

  void StartRecord(const FileCover& file, const RecordPeriod& period) override {
    factor_ = factors_.at(file.array)[Cell(period)];
    if (gathers_) return;
    if (factor_ == 0) {
      ++span_.unmatched;
      return;
    }
    ++span_.records;
    span_.first = std::min(span_.first.value_or(period.begin), period.begin);
    span_.last = std::max(span_.last.value_or(period.end), period.end);
  }

  void Put(const SeriesEntry& entry) override {
    if (factor_ == 0) return;
    if (gathers_) return Gather(entry);
    const size_t first = entry.resource * width_;
    if (sums_.size() < first + width_) sums_.resize(first + width_);
    if (milliseconds_.size() <= entry.resource) milliseconds_.resize(entry.resource + 1);
    if (!std::isnan(entry.milliseconds)) {
      milliseconds_[entry.resource] += entry.milliseconds * factor_;
    }
    for (size_t i = 0; i < width_; ++i) {
      const Point& point = entry.points[i];
      if (std::isnan(point.value)) continue;
      Sum& sum = sums_[first + i];
      sum.largest = sum.intervals == 0 ? point.value : std::max(sum.largest, point.value);
      sum.most = sum.intervals == 0 ? point.most : std::max(sum.most, point.most);
      ++sum.intervals;
      sum.weight += point.weight * factor_;
      sum.sum += point.value * point.weight * factor_;
    }
  }

  int Walk() { return reader_.Walk(*this); }
  // The values of these measures, by resource and measure.
  void WalkFor(const std::set<std::pair<size_t, size_t>>& wanted) {
    gathers_ = true;
    for (const auto& place : wanted) values_[place];
    std::vector<bool> resources(reader_.resources().size());
    for (const auto& [resource, measure] : wanted) resources[resource] = true;
    static_cast<void>(
        reader_.Walk(*this, [&](size_t at) { return at < resources.size() && resources[at]; }));
  }

  const std::vector<SeriesResource>& resources() const { return reader_.resources(); }
  const ComparedSpan& span() const { return span_; }
  const MeasureAt& measure(size_t i) const { return reader_.request().measures[i]; }
  size_t width() const { return width_; }

  const Sum& At(size_t resource, size_t measure) const {
    static const Sum kNothing;
    const size_t at = resource * width_ + measure;
    return at < sums_.size() ? sums_[at] : kNothing;
  }
  bool Holds(size_t resource) const {
    for (size_t i = 0; i < width_; ++i) {
      if (At(resource, i).intervals != 0) return true;
    }
    return false;
  }
  // kNoNumber: the span does not tell it.
  double Value(size_t resource, size_t measure) const {
    const Sum& sum = At(resource, measure);
    if (sum.intervals == 0) return kNoNumber;
    if (this->measure(measure).measure->together == Together::kLargest) return sum.largest;
    return sum.weight > 0 ? sum.sum / sum.weight : kNoNumber;
  }
  // Weights of a measure per second of the resource: of averages its operations per second.
  double Rate(size_t resource, size_t measure) const {
    if (resource >= milliseconds_.size() || !(milliseconds_[resource] > 0)) return 0;
    return At(resource, measure).weight * 1000 / milliseconds_[resource];
  }
  SpanValues ValuesOf(size_t resource, size_t measure) {
    SpanValues values;
    const double value = Value(resource, measure);
    if (!std::isnan(value)) values.value = value;
    values.intervals = At(resource, measure).intervals;
    if (values.intervals != 0) values.most = At(resource, measure).most;
    const auto found = values_.find({resource, measure});
    if (found == values_.end()) return values;
    values.median = found->second.Percentile(kMedianPercent);
    values.high = found->second.Percentile(kHighPercent);
    return values;
  }

 private:
  size_t Cell(const RecordPeriod& period) const {
    return CellOf(period, matching_, reader_.request().dump.zone);
  }

  void Gather(const SeriesEntry& entry) {
    for (auto at = values_.lower_bound({entry.resource, 0});
         at != values_.end() && at->first.first == entry.resource; ++at) {
      const Point& point = entry.points[at->first.second];
      if (!std::isnan(point.value)) at->second.Add(point.value, point.weight * factor_);
    }
  }

  SeriesReader reader_;
  Matching matching_;
  size_t width_;
  std::unordered_map<std::string, WeekOfHours> factors_;  // by array
  double factor_ = 1;                                     // of the record at hand
  ComparedSpan span_;
  std::vector<Sum> sums_;  // by resource and measure
  std::vector<double> milliseconds_;
  bool gathers_ = false;
  std::map<std::pair<size_t, size_t>, Distribution> values_;
};

constexpr size_t kAbsent = SIZE_MAX;

// A resource in both spans.
struct Pair {
  size_t before = kAbsent;
  size_t after = kAbsent;
};

struct Candidate {
  Change change;
  const SeriesResource* resource;
  Pair pair;
  size_t measure;
  double weight;
};

class Comparer {
 public:
  Comparer(const CompareRequest& request, Side& before, Side& after)
      : request_(request), before_(before), after_(after) {}

  void Run(Comparison& comparison) {
    Match();
    for (size_t i = 0; i < before_.width(); ++i) TakeWholes(i);
    for (const auto& [place, pair] : pairs_) TakeResource(pair);
    std::stable_sort(found_.begin(), found_.end(),
                     [](const Candidate& a, const Candidate& b) { return a.weight > b.weight; });
    for (const Candidate& each : found_) ++comparison.counts[{each.resource->kind, each.change}];
    if (found_.size() > request_.number) found_.resize(request_.number);
    std::set<std::pair<size_t, size_t>> before;
    std::set<std::pair<size_t, size_t>> after;
    for (const Candidate& each : found_) {
      if (each.pair.before != kAbsent) before.emplace(each.pair.before, each.measure);
      if (each.pair.after != kAbsent) after.emplace(each.pair.after, each.measure);
    }
    if (!before.empty()) before_.WalkFor(before);
    if (!after.empty()) after_.WalkFor(after);
    for (const Candidate& each : found_) comparison.rows.push_back(RowOf(each));
  }

 private:
  using Place = std::tuple<std::string, Kind, size_t, std::string>;  // keys by length, then text
  static Place PlaceOf(const SeriesResource& resource) {
    return {resource.array, resource.kind, resource.key.size(), resource.key};
  }

  void Match() {
    for (size_t i = 0; i < before_.resources().size(); ++i) {
      if (before_.Holds(i)) pairs_[PlaceOf(before_.resources()[i])].before = i;
    }
    for (size_t i = 0; i < after_.resources().size(); ++i) {
      if (after_.Holds(i)) pairs_[PlaceOf(after_.resources()[i])].after = i;
    }
  }

  static double OrNone(double value) { return std::isnan(value) ? 0 : value; }
  static double NumberOf(const Side& side, size_t resource, size_t measure) {
    return resource == kAbsent ? kNoNumber : side.Value(resource, measure);
  }

  // What a value of a measure is a part of, without the whole: see the header.
  double PartOf(const Side& side, size_t resource, size_t measure) const {
    const double value = NumberOf(side, resource, measure);
    if (std::isnan(value)) return 0;
    const Measure& which = *side.measure(measure).measure;
    return which.weight == Weight::kOperations ? value * side.Rate(resource, measure) : value;
  }

  void TakeWholes(size_t measure) {
    const Measure& which = *before_.measure(measure).measure;
    const bool summed = which.together == Together::kSum || which.weight == Weight::kOperations;
    std::map<std::pair<std::string, Kind>, std::pair<double, double>> parts;
    for (const auto& [place, pair] : pairs_) {
      auto& [before, after] = parts[{std::get<0>(place), std::get<1>(place)}];
      const double of_before = PartOf(before_, pair.before, measure);
      const double of_after = PartOf(after_, pair.after, measure);
      before = summed ? before + of_before : std::max(before, of_before);
      after = summed ? after + of_after : std::max(after, of_after);
    }
    for (const auto& [place, both] : parts) {
      wholes_[{place.first, place.second, measure}] =
          which.unit == "%" ? 100.0 : std::max(both.first, both.second);
    }
  }

  const SeriesResource& ResourceOf(const Pair& pair) const {
    return pair.before != kAbsent ? before_.resources()[pair.before]
                                  : after_.resources()[pair.after];
  }

  // A resource that came or went is one change, in the measure in which it weighs most.
  void TakeResource(const Pair& pair) {
    const SeriesResource& resource = ResourceOf(pair);
    const bool both = pair.before != kAbsent && pair.after != kAbsent;
    std::optional<Candidate> alone;
    for (size_t i = 0; i < before_.width(); ++i) {
      const double before = NumberOf(before_, pair.before, i);
      const double after = NumberOf(after_, pair.after, i);
      if (std::isnan(before) && std::isnan(after)) continue;
      const double weight = WeightOf(resource, pair, i);
      if (both) {
        if (!Matters(OrNone(before), OrNone(after))) continue;
        found_.push_back({OrNone(after) > OrNone(before) ? Change::kRose : Change::kFell, &resource,
                          pair, i, weight});
      } else if (!alone || weight > alone->weight) {
        alone = {pair.before == kAbsent ? Change::kAppeared : Change::kWent, &resource, pair, i,
                 weight};
      }
    }
    if (alone) found_.push_back(*alone);
  }

  bool Matters(double before, double after) const {
    const double difference = std::abs(after - before);
    constexpr double kWhole = 100;
    return difference > 0 && difference * kWhole >= request_.least * std::max(before, after);
  }

  double WeightOf(const SeriesResource& resource, const Pair& pair, size_t measure) const {
    const double whole = wholes_.at({resource.array, resource.kind, measure});
    if (!(whole > 0)) return 0;
    const Measure& which = *before_.measure(measure).measure;
    double difference = std::abs(OrNone(NumberOf(after_, pair.after, measure)) -
                                 OrNone(NumberOf(before_, pair.before, measure)));
    if (which.weight == Weight::kOperations) {
      const double before = pair.before == kAbsent ? 0 : before_.Rate(pair.before, measure);
      const double after = pair.after == kAbsent ? 0 : after_.Rate(pair.after, measure);
      // Of what came or went there is one rate only.
      difference *= before == 0 || after == 0 ? std::max(before, after) : std::min(before, after);
    }
    return std::min(difference / whole, 1.0);
  }

  ChangeRow RowOf(const Candidate& each) const {
    ChangeRow row = {each.change,
                     each.resource->array,
                     each.resource->kind,
                     each.resource->key,
                     before_.measure(each.measure),
                     each.weight,
                     {},
                     {}};
    if (each.pair.before != kAbsent) row.before = before_.ValuesOf(each.pair.before, each.measure);
    if (each.pair.after != kAbsent) row.after = after_.ValuesOf(each.pair.after, each.measure);
    return row;
  }

  const CompareRequest& request_;
  Side& before_;
  Side& after_;
  std::map<Place, Pair> pairs_;
  std::map<std::tuple<std::string, Kind, size_t>, double> wholes_;
  std::vector<Candidate> found_;
};

}  // namespace

const char* WordOf(Change change) {
  constexpr std::array<const char*, 4> kWords = {"rose", "fell", "appeared", "went"};
  return kWords[static_cast<size_t>(change)];
}

std::optional<double> ChangeRow::Percent() const {
  if (!before.value || !after.value || !(*before.value > 0)) return std::nullopt;
  return (*after.value - *before.value) * 100 / *before.value;
}

bool Compare(const CompareRequest& request, const std::vector<std::string>& before,
             const std::vector<std::string>& after, Progress& progress, Comparison& comparison) {
  Side one(request.before, request.matching, progress);
  Side other(request.after, request.matching, progress);
  if (!one.Look(before) || !other.Look(after)) return false;
  const auto of_one = one.Seconds();
  const auto of_other = other.Seconds();
  one.TakeFactors(of_one, of_other);
  other.TakeFactors(of_other, of_one);
  comparison.status = std::max(one.Walk(), other.Walk());
  Comparer(request, one, other).Run(comparison);
  comparison.before = one.span();
  comparison.after = other.span();
  return true;
}

}  // namespace psltool
