// Rules of fields: see the header.
#include "tools/audit/explain_rules.h"

#include <bit>
#include <functional>
#include <string_view>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"

namespace psltool {

namespace {

constexpr uint32_t kTopBit = 0x80000000;

constexpr const char* kByOperations = "operations";
constexpr const char* kByTime = "milliseconds";

// The value of a field in an interval; nothing where it does not count.
using ValueOf = std::function<std::optional<double>(const AddedInterval&)>;

uint32_t LengthOf(const AddedInterval& interval) {
  return Load32(interval.entry.data() + kAtInterval);
}

bool IsValid(const AddedInterval& interval) {
  return interval.entry[static_cast<size_t>(interval.rules.form->not_valid)] == 0;
}

GroupInterval GroupOf(const AddedInterval& interval, size_t group) {
  const Form& form = *interval.rules.form;
  if (interval.entry.size() < form.size) return {};
  const size_t at = group < form.quadsets ? form.quadsets_at + group * kQuadsetSize
                                          : form.more_quadsets[group - form.quadsets];
  return ReadGroup(interval.rules.rule, interval.entry.data() + at, LengthOf(interval));
}

// The extended word of an item bit, counted from bit 31 down.
std::optional<double> WordOf(const AddedInterval& interval, size_t position) {
  const uint32_t bit = kTopBit >> position;
  if (interval.words.empty() || (interval.rules.in_mask & bit) == 0) return std::nullopt;
  const auto before =
      static_cast<size_t>(std::popcount(interval.rules.in_mask & ~(bit | (bit - 1))));
  return Load32(interval.words.data() + 4 * before);
}

// What an interval adds to the extreme of an item bit: a word, or what follows from the counters.
std::optional<double> ExtremeOf(const AddedInterval& interval, size_t position) {
  const Form& form = *interval.rules.form;
  if (!IsValid(interval)) return std::nullopt;
  if (interval.rules.in_mask != 0) return WordOf(interval, position);
  if (position < 4 * size_t{form.tracked}) {
    if (LengthOf(interval) == 0) return std::nullopt;
    const GroupInterval group = GroupOf(interval, position / 4);
    return position % 4 < 2 ? group.rate : group.volume;
  }
  const bool present =
      form.ratio_flag.at == kNone || form.ratio_extremes_always ||
      (interval.entry[static_cast<size_t>(form.ratio_flag.at)] & form.ratio_flag.bit) != 0;
  if (!present) return std::nullopt;
  return Load16(interval.entry.data() + form.ratio);
}

// The first interval that has the value.
std::optional<size_t> HolderOf(const std::vector<AddedInterval>& added, const ValueOf& value_of,
                               double value) {
  for (size_t i = 0; i < added.size(); ++i) {
    const std::optional<double> mine = value_of(added[i]);
    if (mine && *mine == value) return i;
  }
  return std::nullopt;
}

std::optional<size_t> LastValid(const std::vector<AddedInterval>& added) {
  for (size_t i = added.size(); i > 0; --i) {
    if (IsValid(added[i - 1])) return i - 1;
  }
  return std::nullopt;
}

void SetMean(ExplainedField& field, double sum, double weight, const char* by) {
  field.rule = Rule::kMean;
  field.sum = sum;
  field.weight = weight;
  field.by = by;
}

// Words of a counter group, by their name without the group's number. False: none of them.
bool ExplainGroup(QuadRule rule, const GroupSum& sum, uint32_t time, std::string_view name,
                  ExplainedField& field) {
  const bool current = rule == QuadRule::kCurrent;
  if (name == "ops") {
    field.rule = Rule::kSum;
    field.sum = sum.operations;
  } else if (name == "first_mean") {
    SetMean(field, sum.first, sum.operations, kByOperations);
  } else if (name == "second_mean") {
    SetMean(field, sum.second, current ? sum.operations : time, current ? kByOperations : kByTime);
  } else if (name == "max") {
    field.rule = Rule::kMax;
  } else {
    return false;
  }
  return true;
}

void ExplainGroupField(const EntryRules& rules, const ResourceSum& sum,
                       const std::vector<AddedInterval>& added, std::string_view name,
                       ExplainedField& field) {
  const size_t group = size_t{field.column.group} - 1;
  if (ExplainGroup(rules.rule, sum.groups[group], sum.time, name, field)) {
    if (field.rule != Rule::kMax) return;
    const ValueOf value_of = [group](const AddedInterval& each) -> std::optional<double> {
      if (!IsValid(each)) return std::nullopt;
      return GroupOf(each, group).largest;
    };
    field.held_by = HolderOf(added, value_of, sum.groups[group].largest);
    return;
  }
  for (size_t i = 0; i < std::size(kExtremeNames); ++i) {
    if (name != ExtremeName(rules.rule, i)) continue;
    const size_t position = 4 * group + i;
    field.rule = i % 2 == 0 ? Rule::kMax : Rule::kMin;
    field.held_by = HolderOf(
        added, [position](const AddedInterval& each) { return ExtremeOf(each, position); },
        sum.extremes[position]);
  }
}

// Fields of cache modules. False: none of them.
bool ExplainCache(const ResourceSum& sum, const std::vector<AddedInterval>& added,
                  std::string_view name, ExplainedField& field) {
  if (name == "first_pct" || name == "second_pct") {
    SetMean(field, name == "first_pct" ? sum.busy : sum.second_busy, sum.time, kByTime);
  } else if (name == "first_rate" || name == "second_rate") {
    SetMean(field, sum.cache_rates[name == "first_rate" ? 0 : 1], sum.time, kByTime);
  } else if (name == "first_max" || name == "second_max") {
    const size_t which = name == "first_max" ? 0 : 1;
    field.rule = Rule::kMax;
    field.held_by = HolderOf(
        added,
        [which](const AddedInterval& each) -> std::optional<double> {
          if (which == 0 && !IsValid(each)) return std::nullopt;
          return Load16(each.entry.data() + each.rules.form->more16[which == 0 ? 1 : 3]);
        },
        sum.cache_maxima[which]);
  } else if (name == "flags") {
    field.rule = Rule::kAny;
  } else {
    return false;
  }
  return true;
}

void ExplainEntryField(const EntryRules& rules, const ResourceSum& sum,
                       const std::vector<AddedInterval>& added, ExplainedField& field) {
  const std::string& name = field.column.name;
  const Form& form = *rules.form;
  if (IsCacheForm(form) && ExplainCache(sum, added, name, field)) return;
  if (name == "key") {
    field.rule = Rule::kKey;
  } else if (name == "interval_ms") {
    field.rule = Rule::kSum;
    field.sum = sum.time;
  } else if (name == "busy_pct") {
    SetMean(field, sum.busy, sum.time, kByTime);
  } else if (name == "second_pct") {
    SetMean(field, sum.second_busy, sum.time, kByTime);
  } else if (name == "busy_pct_max" || name == "busy_pct_min") {
    const bool largest = name == "busy_pct_max";
    const size_t position = 4 * size_t{form.tracked} + (largest ? 0 : 1);
    field.rule = largest ? Rule::kMax : Rule::kMin;
    field.held_by = HolderOf(
        added, [position](const AddedInterval& each) { return ExtremeOf(each, position); },
        sum.extremes[position]);
  } else if (name == "counted" || name == "sticky") {
    field.rule = Rule::kAny;
  } else if (name != "valid" && name != "compact") {
    field.rule = Rule::kLast;
    field.held_by = form.kept_always && name == "mark" && !added.empty()
                        ? std::optional<size_t>(added.size() - 1)
                        : LastValid(added);
  }
}

}  // namespace

void ExplainEntry(const EntryRules& rules, const ResourceSum& sum,
                  const std::vector<AddedInterval>& added, std::vector<ExplainedField>& fields) {
  for (ExplainedField& field : fields) {
    const std::string_view name = field.column.name;
    if (field.column.group == 0) {
      ExplainEntryField(rules, sum, added, field);
    } else {
      ExplainGroupField(rules, sum, added, name.substr(name.find('_') + 1), field);
    }
  }
}

void ExplainElement(const ItemSum& items, const ItemSum::Element& sum,
                    const std::vector<AddedElement>& added, std::vector<ExplainedField>& fields) {
  const auto last = added.empty() ? std::nullopt : std::optional<size_t>(added.size() - 1);
  for (ExplainedField& field : fields) {
    const std::string_view name = field.column.name;
    if (field.column.group != 0) {
      if (!ExplainGroup(QuadRule::kCurrent, sum.waits, items.time, name.substr(name.find('_') + 1),
                        field) ||
          field.rule != Rule::kMax) {
        continue;
      }
      for (size_t i = added.size(); i > 0; --i) {
        const double largest = Load32(added[i - 1].bytes.data() + kQuadsetSize + 8);
        if (added[i - 1].named && largest == sum.waits.largest) field.held_by = i - 1;
      }
    } else if (name == "key") {
      field.rule = Rule::kKey;
    } else if (name == "interval_ms") {
      field.rule = Rule::kSum;
      field.sum = items.time;
    } else if (name == "value") {
      SetMean(field, sum.sum, items.items, "items");
    } else if (name == "status") {
      field.rule = Rule::kLast;
      field.held_by = last;
    } else if (name == "present") {
      field.rule = Rule::kLast;
      for (size_t i = 0; i < added.size(); ++i) {
        if (added[i].named) field.held_by = i;
      }
    }
  }
}

}  // namespace psltool
