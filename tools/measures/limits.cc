// Limits: see the header. Files of several levels do not come in the order of time, so runs are
// put together at the end once more.
#include "tools/measures/limits.h"

#include <algorithm>
#include <cmath>
#include <tuple>

#include "tools/reading/record_period.h"

namespace psltool {

namespace {

double ValueOf(const Point& point, LimitStatistic statistic) {
  if (statistic == LimitStatistic::kMax) return point.most;
  return statistic == LimitStatistic::kMin ? point.least : point.value;
}

}  // namespace

std::vector<Kind> KindsOf(const std::vector<LimitRule>& rules) {
  std::vector<Kind> kinds;
  for (const LimitRule& rule : rules)
    kinds.insert(kinds.end(), rule.kinds.begin(), rule.kinds.end());
  std::sort(kinds.begin(), kinds.end());
  kinds.erase(std::unique(kinds.begin(), kinds.end()), kinds.end());
  return kinds;
}

std::vector<MeasureAt> MeasuresOf(const std::vector<LimitRule>& rules) {
  std::vector<MeasureAt> all;
  for (const LimitRule& rule : rules) {
    const std::vector<std::string> name = {std::string(rule.measure->name)};
    for (const MeasureAt& at : MeasuresOf(rule.kinds, name, rule.group)) {
      if (std::find(all.begin(), all.end(), at) == all.end()) all.push_back(at);
    }
  }
  return all;
}

LimitCheck::LimitCheck(const std::vector<LimitRule>& rules, const SeriesReader& reader)
    : rules_(rules),
      reader_(reader),
      covers_(rules.size()),
      watched_(rules.size()),
      runs_(rules.size()),
      spans_(rules.size()),
      looked_(rules.size()) {}

void LimitCheck::StartRecord(const FileCover& file, const RecordPeriod& period) {
  const Zone zone = reader_.request().dump.zone;
  for (size_t i = 0; i < rules_.size(); ++i) {
    covers_[i] = rules_[i].HasArray(file.array) && rules_[i].Covers(period, zone);
  }
  uint32_t& last = last_stamps_[file.array];
  last = std::max(last, period.stamp);
}

bool LimitCheck::IsWatched(size_t rule, size_t resource) {
  std::vector<int8_t>& watched = watched_[rule];
  if (resource >= watched.size()) watched.resize(resource + 1, -1);
  if (watched[resource] < 0) {
    const SeriesResource& its = reader_.resources()[resource];
    const bool yes = rules_[rule].HasKind(its.kind) && rules_[rule].HasKey(its.key);
    watched[resource] = static_cast<int8_t>(yes ? 1 : 0);
  }
  return watched[resource] == 1;
}

void LimitCheck::Put(const SeriesEntry& entry) {
  const RecordPeriod& period = entry.period;
  Run interval = {period.begin, period.end, 0, 1, 0, period, false};
  if (period.level == 'L') {
    // The first record of a log does not tell where it begins; its length does.
    const double seconds = std::isnan(entry.milliseconds) ? 0 : entry.milliseconds / 1000.0;
    const double begin = std::max(0.0, std::floor(period.stamp - seconds));
    interval.begin = std::min(interval.begin, static_cast<uint32_t>(begin));
  }
  interval.shortest = interval.end - interval.begin;
  const std::vector<MeasureAt>& measures = reader_.request().measures;
  for (size_t i = 0; i < rules_.size(); ++i) {
    const LimitRule& rule = rules_[i];
    if (!covers_[i] || !IsWatched(i, entry.resource)) continue;
    for (size_t at = 0; at < measures.size(); ++at) {
      if (measures[at].measure != rule.measure) continue;
      if (rule.group != 0 && measures[at].group != rule.group) continue;
      Take(i, {entry.resource, measures[at].group}, entry.points[at], interval);
    }
  }
}

void LimitCheck::Take(size_t rule, const Place& place, const Point& point, const Run& interval) {
  const LimitRule& which = rules_[rule];
  const double value = ValueOf(point, which.statistic);
  if (std::isnan(value)) return;
  ++looked_[rule];
  Run next = interval;
  next.worst = value;
  if (which.OfIntervals()) {
    if (which.IsBroken(value)) {
      Append(which, runs_[rule][place], next);
    } else if (const auto found = runs_[rule].find(place); found != runs_[rule].end()) {
      found->second.back().ended = true;
    }
    return;
  }
  const auto [found, is_new] = spans_[rule].try_emplace(place);
  Span& span = found->second;
  span.values.Add(point.value, point.weight);
  if (is_new) {
    span.run = next;
    return;
  }
  ++span.run.intervals;
  span.run.begin = std::min(span.run.begin, next.begin);
  if (next.end >= span.run.end) span.run.when = next.when;
  span.run.end = std::max(span.run.end, next.end);
}

// A gap of less than half an interval is none: records are seldom stamped to the second.
bool LimitCheck::Joins(const Run& run, const Run& next) const {
  const int64_t gap = int64_t{next.begin} - run.end;
  return !run.ended && next.begin >= run.begin && gap * 2 <= std::min(run.shortest, next.shortest);
}

void LimitCheck::Append(const LimitRule& rule, std::vector<Run>& runs, const Run& next) const {
  if (runs.empty() || !Joins(runs.back(), next)) {
    runs.push_back(next);
    return;
  }
  Run& run = runs.back();
  run.end = std::max(run.end, next.end);
  run.shortest = std::min(run.shortest, next.shortest);
  run.intervals += next.intervals;
  run.ended = next.ended;
  if (rule.IsUpper() ? next.worst > run.worst : next.worst < run.worst) {
    run.worst = next.worst;
    run.when = next.when;
  }
}

std::vector<Breach> LimitCheck::Finish() {
  std::vector<Breach> breaches;
  for (size_t i = 0; i < rules_.size(); ++i) {
    const LimitRule& rule = rules_[i];
    const size_t first = breaches.size();
    const auto add = [&](const Place& place, const Run& run) {
      breaches.push_back({&rule, place.first, place.second, run.begin, run.end, run.intervals,
                          run.worst, run.when});
    };
    for (auto& [place, parts] : runs_[i]) {
      std::stable_sort(parts.begin(), parts.end(),
                       [](const Run& a, const Run& b) { return a.begin < b.begin; });
      std::vector<Run> runs;
      for (const Run& part : parts) Append(rule, runs, part);
      for (const Run& run : runs) {
        if (run.end - run.begin >= rule.seconds) add(place, run);
      }
    }
    for (auto& [place, span] : spans_[i]) {
      const bool median = rule.statistic == LimitStatistic::kMedian;
      const auto value = span.values.Percentile(median ? kMedianPercent : kHighPercent);
      if (!value || !rule.IsBroken(*value)) continue;
      span.run.worst = *value;
      add(place, span.run);
    }
    // Resources have their numbers in the order of the files.
    std::stable_sort(breaches.begin() + static_cast<ptrdiff_t>(first), breaches.end(),
                     [this](const Breach& a, const Breach& b) {
                       const SeriesResource& of_a = reader_.resources()[a.resource];
                       const SeriesResource& of_b = reader_.resources()[b.resource];
                       return std::tie(of_a.array, of_a.kind, a.resource, a.group, a.begin) <
                              std::tie(of_b.array, of_b.kind, b.resource, b.group, b.begin);
                     });
  }
  return breaches;
}

}  // namespace psltool
