// Rules of fields: see the header.
#include "tools/audit/explain_rules.h"

#include "tools/audit/recompute_math.h"

#include <bit>
#include <functional>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"

namespace psltool {

namespace {

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
  const uint32_t bit = kFirstOfBitmap >> position;
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
  field.sum = sum;
  field.weight = weight;
  field.by = by;
}

// What the words of a counter group were made of.
void ExplainGroup(QuadRule rule, const GroupSum& sum, uint32_t time, ExplainedField& field) {
  const bool current = rule == QuadRule::kCurrent;
  switch (field.column.content) {
    case Content::kOps:
      field.sum = sum.operations;
      break;
    case Content::kFirstMean:
      SetMean(field, sum.first, sum.operations, kByOperations);
      break;
    case Content::kSecondMean:
      SetMean(field, sum.second, current ? sum.operations : time,
              current ? kByOperations : kByTime);
      break;
    default:
      break;
  }
}

void ExplainGroupField(const EntryRules& rules, const ResourceSum& sum,
                       const std::vector<AddedInterval>& added, ExplainedField& field) {
  const size_t group = size_t{field.column.group} - 1;
  ExplainGroup(rules.rule, sum.groups[group], sum.time, field);
  if (field.column.content == Content::kMaximum) {
    const ValueOf value_of = [group](const AddedInterval& each) -> std::optional<double> {
      if (!IsValid(each)) return std::nullopt;
      return GroupOf(each, group).largest;
    };
    field.held_by = HolderOf(added, value_of, sum.groups[group].largest);
  }
  for (size_t i = 0; i < 4; ++i) {
    if (field.column.content != ExtremeContent(rules.rule, i)) continue;
    const size_t position = 4 * group + i;
    field.held_by = HolderOf(
        added, [position](const AddedInterval& each) { return ExtremeOf(each, position); },
        sum.extremes[position]);
  }
}

// The interval that held the largest value of a field of cache modules. `always`: it counts in
// modules that are not valid, too.
std::optional<size_t> HolderOfField(const std::vector<AddedInterval>& added, Role role, bool always,
                                    double value) {
  return HolderOf(
      added,
      [role, always](const AddedInterval& each) -> std::optional<double> {
        if (!always && !IsValid(each)) return std::nullopt;
        return Load16(each.entry.data() + FindField(each.rules.form->Fields(), role)->at);
      },
      value);
}

void ExplainField(const ResourceSum& sum, const std::vector<AddedInterval>& added,
                  ExplainedField& field) {
  const Role role = field.column.role;
  if (field.rule == Gathered::kLast) field.held_by = LastValid(added);
  switch (role) {
    case Role::kInterval:
      field.sum = sum.time;
      break;
    case Role::kRatio:
    case Role::kCacheRatio1:
      SetMean(field, sum.busy, sum.time, kByTime);
      break;
    case Role::kSecondRatio:
    case Role::kCacheRatio2:
      SetMean(field, sum.second_busy, sum.time, kByTime);
      break;
    case Role::kCacheRate1:
    case Role::kCacheRate2:
      SetMean(field, sum.cache_rates[role == Role::kCacheRate1 ? 0 : 1], sum.time, kByTime);
      break;
    case Role::kCacheMaximum1:
      field.held_by = HolderOfField(added, role, false, sum.cache_maxima[0]);
      break;
    case Role::kCacheMaximum2:
      field.held_by = HolderOfField(added, role, true, sum.cache_maxima[1]);
      break;
    case Role::kMark:
      if (!added.empty()) field.held_by = added.size() - 1;
      break;
    default:
      break;
  }
}

}  // namespace

void ExplainEntry(const EntryRules& rules, const ResourceSum& sum,
                  const std::vector<AddedInterval>& added, std::vector<ExplainedField>& fields) {
  for (ExplainedField& field : fields) {
    const Content content = field.column.content;
    field.rule = field.column.row().gathered;
    if (field.column.group != 0) {
      ExplainGroupField(rules, sum, added, field);
    } else if (content == Content::kField) {
      ExplainField(sum, added, field);
    } else if (content == Content::kFieldMax || content == Content::kFieldMin) {
      const size_t position =
          4 * size_t{rules.form->tracked} + (content == Content::kFieldMax ? 0 : 1);
      field.held_by = HolderOf(
          added, [position](const AddedInterval& each) { return ExtremeOf(each, position); },
          sum.extremes[position]);
    }
  }
}

void ExplainElement(const ItemSum& items, const ItemSum::Element& sum,
                    const std::vector<AddedElement>& added, std::vector<ExplainedField>& fields) {
  for (ExplainedField& field : fields) {
    field.rule = field.column.row().gathered;
    ExplainGroup(QuadRule::kCurrent, sum.waits, items.time, field);
    const bool largest_wait = field.column.content == Content::kMaximum;
    const Role role = field.column.role;
    if (role == Role::kInterval) field.sum = items.time;
    if (role == Role::kValue) SetMean(field, sum.sum, items.items, "items");
    if (role == Role::kStatus && !added.empty()) field.held_by = added.size() - 1;
    for (size_t i = 0; i < added.size(); ++i) {
      if (role == Role::kPresent && added[i].named) field.held_by = i;
    }
    for (size_t i = added.size(); largest_wait && i > 0; --i) {
      const double largest = Load32(added[i - 1].bytes.data() + kQuadsetSize + 8);
      if (added[i - 1].named && largest == sum.waits.largest) field.held_by = i - 1;
    }
  }
}

}  // namespace psltool
