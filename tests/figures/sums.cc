// Sums entry by entry.

#include "tests/figures/sums.h"

#include <algorithm>
#include <set>

namespace figures {
namespace {

// The group asked for, when the entry has it.
const Group* GroupOf(const Entry& entry, const Question& question) {
  return question.group <= entry.groups.size() ? &entry.groups[question.group - 1] : nullptr;
}

// Nothing: the entry counts for nothing.
std::optional<Sums> SumsOfEntry(const Entry& entry, const Question& question) {
  const Group* const group = GroupOf(entry, question);
  if (group == nullptr && !entry.valid) return std::nullopt;
  if (group != nullptr && !group->known) return std::nullopt;
  Sums sums;
  sums.milliseconds = entry.length;
  if (group != nullptr) {
    sums.counts = true;
    sums.operations = group->count();
    sums.first = sums.operations * group->words.q1;
    sums.has_volume = group->volume;
    if (group->volume) sums.volume = sums.operations * group->words.q3;
    if (group->stored) sums.maximum = group->words.q2;
  }
  if (entry.ratio) {
    sums.busy = *entry.ratio / 100.0 * entry.length;
    sums.busy_milliseconds = entry.length;
  }
  return sums;
}

// A peak that the file carries, or what the entry amounts to.
std::optional<double> PeakOfEntry(const Entry& entry, const Question& question) {
  const std::string prefix = "g" + std::to_string(question.group) + "_";
  const std::map<std::string, std::vector<std::string>> names = {
      {"ops", {prefix + "ops_per_s_max", prefix + "ops_per_s"}},
      {"busy", {"busy_pct_max", "busy_pct"}},
      {"mean", {prefix + "first_mean"}},
      {"max", {prefix + "max"}},
      {"volume", {prefix + "kvolume_per_s_max", prefix + "kvolume_per_s"}}};
  const Values values = DumpValues(entry, false);
  for (const std::string& name : names.at(question.by)) {
    const auto found = values.find(name);
    if (found != values.end() && !found->second.is_null()) return found->second.get<double>();
  }
  return std::nullopt;
}

void TakePeak(Peak& peak, std::optional<double> value, uint32_t stamp) {
  if (value && (!peak.value || *value > *peak.value)) peak = {value, stamp};
}

}  // namespace

void Sums::Add(const Sums& other) {
  operations += other.operations;
  milliseconds += other.milliseconds;
  first += other.first;
  volume += other.volume;
  busy += other.busy;
  busy_milliseconds += other.busy_milliseconds;
  has_volume = has_volume || other.has_volume;
  counts = counts || other.counts;
  if (other.maximum) maximum = std::max(maximum.value_or(0), *other.maximum);
}

std::optional<double> Sums::Measure(const std::string& by) const {
  if (by == "max") return maximum;
  if (by == "mean") return operations > 0 ? std::optional(first / operations) : std::nullopt;
  if (by == "busy") {
    return busy_milliseconds > 0 ? std::optional(busy / busy_milliseconds) : std::nullopt;
  }
  if (milliseconds <= 0) return std::nullopt;
  const double seconds = milliseconds / 1000;
  if (by == "volume") {
    return has_volume ? std::optional(volume / seconds / 1024) : std::nullopt;
  }
  return operations / seconds;
}

double Sums::Weight(const std::string& by) const {
  if (by == "mean") return operations;
  return by == "busy" ? busy_milliseconds : milliseconds;
}

std::optional<double> PercentileOf(const Total& total, const Question& question, double percent) {
  std::vector<std::pair<double, double>> values;
  double all = 0;
  for (const Sums& each : total.records) {
    const std::optional<double> value = each.Measure(question.by);
    const double weight = each.Weight(question.by);
    if (!value || weight <= 0 || (question.by != "busy" && !each.counts)) continue;
    values.emplace_back(*value, weight);
    all += weight;
  }
  std::sort(values.begin(), values.end());
  double passed = 0;
  for (const auto& [value, weight] : values) {
    passed += weight;
    if (passed * 100 >= percent * all) return value;
  }
  return std::nullopt;
}

std::map<std::pair<std::string, std::string>, Total> SumsOf(
    const std::vector<ChosenRecord>& records, const Question& question) {
  std::map<std::pair<std::string, std::string>, Total> totals;
  for (const ChosenRecord& chosen : records) {
    for (const Entry& entry : chosen.record->entries) {
      if (entry.kind != question.kind) continue;
      Total& total = totals[{chosen.array, entry.key}];
      const std::optional<Sums> sums = SumsOfEntry(entry, question);
      if (!sums) continue;
      total.all.Add(*sums);
      total.stamps[chosen.stamp].Add(*sums);
      total.records.push_back(*sums);
      TakePeak(total.peak, PeakOfEntry(entry, question), chosen.stamp);
    }
  }
  return totals;
}

std::map<std::string, Total> TotalsOf(const std::vector<ChosenRecord>& records,
                                      const Question& question) {
  std::map<std::string, Total> totals;
  for (const ChosenRecord& chosen : records) {
    Sums of_record;
    double longest = 0;
    bool any = false;
    for (const Entry& entry : chosen.record->entries) {
      if (entry.kind != question.kind) continue;
      any = true;
      const std::optional<Sums> sums = SumsOfEntry(entry, question);
      if (!sums) continue;
      of_record.Add(*sums);
      longest = std::max(longest, sums->milliseconds);
    }
    if (!any) continue;
    of_record.milliseconds = longest;
    Total& total = totals[chosen.array];
    total.all.Add(of_record);
    total.stamps[chosen.stamp].Add(of_record);
    total.records.push_back(of_record);
    TakePeak(total.peak, of_record.Measure(question.by), chosen.stamp);
  }
  return totals;
}

std::vector<std::optional<double>> CellsOf(const std::vector<ChosenRecord>& records,
                                           const Total& total, const Question& question,
                                           std::size_t width) {
  std::set<uint32_t> stamps;
  for (const ChosenRecord& chosen : records) stamps.insert(chosen.stamp);
  std::map<std::size_t, Sums> cells;
  const bool own = stamps.size() <= width;
  for (const auto& [stamp, sums] : total.stamps) {
    const uint64_t from_start = stamp - *stamps.begin();
    const uint64_t span = uint64_t{*stamps.rbegin()} - *stamps.begin() + 1;
    const auto place = static_cast<std::size_t>(std::distance(stamps.begin(), stamps.find(stamp)));
    cells[own ? place : static_cast<std::size_t>(from_start * width / span)].Add(sums);
  }
  std::vector<std::optional<double>> values(own ? stamps.size() : width);
  for (const auto& [cell, sums] : cells) values[cell] = sums.Measure(question.by);
  return values;
}

}  // namespace figures
