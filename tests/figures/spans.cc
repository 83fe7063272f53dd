// Series by name: see the header.

#include "tests/figures/spans.h"

namespace figures {
namespace {

struct Rule {
  const char* measure;
  const char* value;  // names of `dump`
  const char* most;
  const char* least;
};
constexpr Rule kOfGroups[] = {{"ops", "ops_per_s", "ops_per_s_max", "ops_per_s_min"},
                              {"volume", "kvolume_per_s", "kvolume_per_s_max", "kvolume_per_s_min"},
                              {"mean", "first_mean", "", ""},
                              {"max", "max", "", ""},
                              {"second", "second_mean", "second_mean_max", "second_mean_min"}};
constexpr Rule kOfEntries[] = {{"busy", "busy_pct", "busy_pct_max", "busy_pct_min"},
                               {"first-ratio", "first_pct", "", ""},
                               {"second-ratio", "second_pct", "", ""},
                               {"first-max", "first_max", "", ""},
                               {"second-max", "second_max", "", ""},
                               {"first-rate", "first_rate", "", ""},
                               {"second-rate", "second_rate", "", ""},
                               {"value", "value", "", ""}};

std::optional<double> Number(const Values& values, const std::string& name) {
  const auto found = values.find(name);
  if (found == values.end() || !found->second.is_number()) return std::nullopt;
  return found->second.get<double>();
}

void Add(const Rule& rule, const std::string& prefix, const Values& values, Interval interval,
         std::vector<Interval>& to) {
  const auto value = Number(values, prefix + rule.value);
  if (!value) return;
  interval.value = *value;
  interval.most = Number(values, prefix + rule.most).value_or(*value);
  interval.least = Number(values, prefix + rule.least).value_or(*value);
  to.push_back(interval);
}

}  // namespace

void AddSeries(const std::string& array, const File& file, const std::vector<Period>& periods,
               SeriesMap& series) {
  for (std::size_t i = 0; i < file.records.size(); ++i) {
    for (const Entry& entry : file.records[i].entries) {
      const Values values = DumpValues(entry, false);
      Interval interval;
      interval.period = periods[i];
      interval.length = entry.length;
      interval.weight = entry.length;
      for (const Rule& rule : kOfEntries) {
        Add(rule, "", values, interval, series[{array, entry.kind, entry.key, rule.measure, 0}]);
      }
      for (std::size_t g = 1; g <= entry.groups.size(); ++g) {
        const Group& group = entry.groups[g - 1];
        for (const Rule& rule : kOfGroups) {
          const std::string measure = rule.measure;
          const bool by_operations =
              measure == "mean" || (measure == "second" && (group.volume || entry.item));
          interval.weight =
              by_operations ? static_cast<uint64_t>(group.known ? group.count() : 0) : entry.length;
          Add(rule, "g" + std::to_string(g) + "_", values, interval,
              series[{array, entry.kind, entry.key, measure, static_cast<int>(g)}]);
        }
      }
    }
  }
  std::erase_if(series, [](const auto& each) { return each.second.empty(); });
}

std::optional<double> PercentileOf(const std::vector<Interval>& intervals, unsigned percent) {
  uint64_t all = 0;
  for (const Interval& each : intervals) all += each.weight;
  if (all == 0) return std::nullopt;
  std::optional<double> smallest;
  for (const Interval& candidate : intervals) {
    if (candidate.weight == 0 || (smallest && candidate.value >= *smallest)) continue;
    uint64_t up_to = 0;
    for (const Interval& each : intervals) {
      if (each.value <= candidate.value) up_to += each.weight;
    }
    if (up_to * 100 >= all * percent) smallest = candidate.value;
  }
  return smallest;
}

}  // namespace figures
