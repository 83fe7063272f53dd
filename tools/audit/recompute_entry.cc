// Sums of one resource: see the header. Each expression stands in the order in which the rules of
// archives write it, since the last bit of a double depends on it.
#include "tools/audit/recompute_entry.h"

#include <cstring>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/audit/recompute_math.h"
#include "tools/reading/array_tables.h"
#include "tools/reading/entry_fields.h"

namespace psltool {

namespace {

constexpr uint8_t kNoSecondRatio = 0x80;  // in the flags byte of cache segments
constexpr size_t kCacheFlags = 10;
constexpr std::array<uint8_t, kQuadsetSize> kNoOperations = {};

uint8_t ByteAt(std::span<const uint8_t> entry, int at) { return entry[static_cast<size_t>(at)]; }
uint16_t HalfAt(std::span<const uint8_t> entry, int at) { return Load16(entry.data() + at); }
uint32_t WordAt(std::span<const uint8_t> entry, int at) { return Load32(entry.data() + at); }

bool IsSet(const FlagBit& flag, std::span<const uint8_t> entry) {
  return flag.at != kNone && (ByteAt(entry, flag.at) & flag.bit) != 0;
}

void Widen(double value, bool first, bool largest, double& field) {
  if (first) {
    field = value;
  } else {
    field = largest ? std::max(field, value) : std::min(field, value);
  }
}

// The second value of cache segments, or the two bytes that stand in its place.
void AddSecond(const EntryRules& rules, std::span<const uint8_t> entry, ResourceSum& sum) {
  const Form& form = *rules.form;
  if (form.second_ratio == kNone) return;
  sum.second_flags = ByteAt(entry, form.second_flags);
  if ((sum.second_flags & kNoSecondRatio) != 0) {
    sum.second_bytes = {ByteAt(entry, form.second_ratio), ByteAt(entry, form.second_ratio + 1)};
  } else if (rules.key_count < form.key.count) {
    const double length = WordAt(entry, kAtInterval);
    sum.second_busy += (HalfAt(entry, form.second_ratio) * length) / kRatioUnit;
  }
}

void AddFlags(const EntryRules& rules, std::span<const uint8_t> entry, ResourceSum& sum) {
  const Form& form = *rules.form;
  for (size_t i = 0; i < form.carried.size(); ++i) {
    if (form.carried[i] != kNone) sum.carried[i] = WordAt(entry, form.carried[i]);
  }
  sum.counted = sum.counted || IsSet(form.counted, entry);
  sum.sticky = sum.sticky || IsSet(form.sticky, entry);
  if (!form.kept_always && rules.revision >= form.kept_from) sum.kept = IsSet(form.kept, entry);
}

void AddRatio(const EntryRules& rules, std::span<const uint8_t> entry, ResourceSum& sum) {
  const Form& form = *rules.form;
  if (form.ratio == kNone) return;
  const double ratio = HalfAt(entry, form.ratio);
  const double length = WordAt(entry, kAtInterval);
  const bool present = form.ratio_flag.at == kNone || IsSet(form.ratio_flag, entry);
  if (present) {
    sum.busy += (ratio * length) / kRatioUnit;
    ++sum.ratios;
  }
  if (rules.in_mask == 0 && (present || form.ratio_extremes_always)) {
    const size_t at = 4 * size_t{form.tracked};
    Widen(ratio, rules.first, true, sum.extremes[at]);
    Widen(ratio, rules.first, false, sum.extremes[at + 1]);
  }
}

void AddGroups(const EntryRules& rules, std::span<const uint8_t> entry, ResourceSum& sum) {
  const Form& form = *rules.form;
  const uint32_t length = WordAt(entry, kAtInterval);
  const bool compact = entry.size() < form.size;
  for (size_t i = 0; i < form.quadsets; ++i) {
    const uint8_t* const quadset =
        compact ? kNoOperations.data() : entry.data() + form.quadsets_at + i * kQuadsetSize;
    AddGroup(rules.rule, quadset, length, sum.groups[i]);
    if (i >= form.tracked || rules.in_mask != 0 || length == 0) continue;
    const GroupInterval interval = ReadGroup(rules.rule, quadset, length);
    Widen(interval.rate, rules.first, true, sum.extremes[4 * i]);
    Widen(interval.rate, rules.first, false, sum.extremes[4 * i + 1]);
    Widen(interval.volume, rules.first, true, sum.extremes[4 * i + 2]);
    Widen(interval.volume, rules.first, false, sum.extremes[4 * i + 3]);
  }
}

// Extended words: maxima at even bits, minima at odd ones. Bits beyond the archive's are passed
// over.
void AddWords(const EntryRules& rules, std::span<const uint8_t> words, ResourceSum& sum) {
  const size_t last = 4 * size_t{rules.form->tracked} + 2;
  size_t at = 0;
  for (size_t position = 0; position < 32; ++position) {
    const uint32_t bit = kFirstOfBitmap >> position;
    if ((rules.in_mask & bit) == 0) continue;
    const double word = Load32(words.data() + at);
    at += 4;
    if ((rules.out_mask & bit) == 0 || position >= last) continue;
    Widen(word, rules.first, position % 2 == 0, sum.extremes[position]);
  }
}

bool IsIdle(const Form& form, const ResourceSum& sum) {
  if (!form.idles) return false;
  if (form.idle_by_busy && sum.busy >= 1.0) return false;
  for (size_t i = 0; i < form.quadsets; ++i) {
    if (sum.groups[i].operations >= 1.0) return false;
  }
  return true;
}

void PutHead(const EntryRules& rules, const ResourceSum& sum, uint8_t* entry) {
  const Form& form = *rules.form;
  Store32(entry + kAtStatus, sum.status);
  Store32(entry + kAtInterval, sum.time);
  if (sum.time == 0) entry[form.not_valid] = 1;
  for (size_t i = 0; i < form.carried.size(); ++i) {
    if (form.carried[i] != kNone) Store32(entry + form.carried[i], sum.carried[i]);
  }
  if (form.ratio != kNone && sum.time != 0) {
    Store16(entry + form.ratio, RatioHalf(MeanRatio(sum.busy, sum.time)));
  }
  const auto mark = [entry](const FlagBit& flag, bool set) {
    if (flag.at != kNone && set) entry[flag.at] |= flag.bit;
  };
  mark(form.ratio_flag, sum.ratios != 0);
  mark(form.counted, sum.counted);
  mark(form.sticky, sum.sticky);
  mark(form.kept, sum.kept);
  if (form.second_ratio != kNone) {
    entry[form.second_flags] = sum.second_flags;
    if ((sum.second_flags & kNoSecondRatio) != 0) {
      std::memcpy(entry + form.second_ratio, sum.second_bytes.data(), sum.second_bytes.size());
    } else if (sum.time != 0 && rules.key_count < form.key.count) {
      const uint32_t ratio = Word(MeanRatio(sum.second_busy, sum.time));
      Store16(entry + form.second_ratio, static_cast<uint16_t>(ratio & 0xFFFF));
    }
  }
  for (size_t i = 0; i < rules.key_count; ++i) {
    entry[form.key.at[i]] = static_cast<uint8_t>(sum.key >> (8 * (rules.key_count - 1 - i)));
  }
}

// The second ratio and maximum of cache modules: what is above 0 is told as 1 at least.
uint16_t Bounded(double value) {
  if (value <= 0.0) return 0;
  if (value < 1.0) return 1;
  return HalfWord(std::min(value, kRatioUnit));
}

void PutCache(const EntryRules& rules, const ResourceSum& sum, uint8_t* entry) {
  const Form& form = *rules.form;
  const bool some = sum.time != 0;
  Store32(entry + kAtStatus, sum.status);
  Store32(entry + kAtInterval, sum.time);
  entry[form.key.at[0]] = static_cast<uint8_t>(sum.key);
  entry[form.not_valid] = some ? 0 : 1;
  if (some) Store16(entry + form.more16[0], RatioHalf(MeanRatio(sum.busy, sum.time)));
  Store16(entry + form.more16[1], HalfWord(sum.cache_maxima[0]));
  for (size_t i = 0; i < form.quadsets; ++i) {
    PutGroup(QuadRule::kCurrent, sum.groups[i], sum.time,
             entry + form.quadsets_at + i * kQuadsetSize);
  }
  if (form.more_quadsets[0] == 0) return;
  entry[kCacheFlags] = sum.cache_flags;
  if (some) Store16(entry + form.more16[2], Bounded(MeanRatio(sum.second_busy, sum.time)));
  Store16(entry + form.more16[3], Bounded(sum.cache_maxima[1]));
  for (size_t i = 0; i < form.more32.size(); ++i) {
    if (some) Store32(entry + form.more32[i], Word((sum.cache_rates[i] / sum.time) * kRateUnit));
    PutGroup(QuadRule::kCurrent, sum.groups[form.quadsets + i], sum.time,
             entry + form.more_quadsets[i]);
  }
}

}  // namespace

bool IsCacheForm(const Form& form) { return form.more16[0] != 0; }

GroupInterval ReadGroup(QuadRule rule, const uint8_t* quadset, uint32_t length) {
  GroupInterval group;
  group.raw = Load32(quadset);
  group.operations = DecodeCountWord(group.raw);
  group.first = Load32(quadset + 4);
  group.largest = Load32(quadset + 8);
  group.second = Load32(quadset + 12);
  if (length == 0) return group;
  const double milliseconds = length;
  group.rate = (group.operations * 1000.0 / milliseconds) * 1000.0;
  group.volume = rule == QuadRule::kOlder
                     ? group.second
                     : (group.second * group.operations) / (milliseconds / 1000.0) / 1024.0;
  return group;
}

void AddGroup(QuadRule rule, const uint8_t* quadset, uint32_t length, GroupSum& group) {
  const GroupInterval interval = ReadGroup(rule, quadset, length);
  group.operations += interval.operations;
  group.first += interval.raw * interval.first;
  group.largest = std::max(group.largest, interval.largest);
  group.second += interval.second * (rule == QuadRule::kOlder ? length : interval.operations);
}

void PutGroup(QuadRule rule, const GroupSum& group, uint32_t time, uint8_t* at) {
  Store32(at, CountWord(group.operations));
  Store32(at + 4, group.operations < 1.0 ? 0 : Word(group.first / group.operations));
  Store32(at + 8, Word(group.largest));
  const double weight = rule == QuadRule::kOlder ? time : group.operations;
  Store32(at + 12, weight == 0.0 ? 0 : Word(group.second / weight));
}

void AddEntry(const EntryRules& rules, std::span<const uint8_t> entry,
              std::span<const uint8_t> words, ResourceSum& sum) {
  const Form& form = *rules.form;
  sum.key = EntryKey(form.key, rules.key_count, entry);
  if (form.kept_always && rules.revision >= form.kept_from) sum.kept = IsSet(form.kept, entry);
  if (ByteAt(entry, form.not_valid) != 0) return;
  sum.status = WordAt(entry, kAtStatus);
  sum.time += WordAt(entry, kAtInterval);
  if (rules.revision >= form.filled_from) {
    AddFlags(rules, entry, sum);
    AddSecond(rules, entry, sum);
    AddRatio(rules, entry, sum);
  }
  AddGroups(rules, entry, sum);
  if (!words.empty()) AddWords(rules, words, sum);
}

void AddCacheByKey(const EntryRules& rules, std::span<const uint8_t> entry, ResourceSum& sum) {
  const Form& form = *rules.form;
  const uint32_t length = WordAt(entry, kAtInterval);
  sum.status = WordAt(entry, kAtStatus);
  sum.time += length;
  if (ByteAt(entry, form.not_valid) != 0) return;
  sum.key = EntryKey(form.key, rules.key_count, entry);
  sum.busy += (HalfAt(entry, form.more16[0]) * static_cast<double>(length)) / kRatioUnit;
  sum.cache_maxima[0] = std::max<double>(sum.cache_maxima[0], HalfAt(entry, form.more16[1]));
  for (size_t i = 0; i < form.quadsets; ++i) {
    AddGroup(QuadRule::kCurrent, entry.data() + form.quadsets_at + i * kQuadsetSize, length,
             sum.groups[i]);
  }
}

void AddCacheByPosition(const EntryRules& rules, std::span<const uint8_t> entry, ResourceSum& sum) {
  const Form& form = *rules.form;
  if (form.more_quadsets[0] == 0) return;
  const uint32_t interval = WordAt(entry, kAtInterval);
  const double length = interval;
  sum.second_busy += (HalfAt(entry, form.more16[2]) * length) / kRatioUnit;
  sum.cache_maxima[1] = std::max<double>(sum.cache_maxima[1], HalfAt(entry, form.more16[3]));
  sum.cache_flags |= ByteAt(entry, kCacheFlags);
  for (size_t i = 0; i < form.more32.size(); ++i) {
    sum.cache_rates[i] += (length * WordAt(entry, form.more32[i])) / kRateUnit;
    AddGroup(QuadRule::kCurrent, entry.data() + form.more_quadsets[i], interval,
             sum.groups[form.quadsets + i]);
  }
}

void PutEntry(const EntryRules& rules, const ResourceSum& sum, std::vector<uint8_t>& out) {
  const Form& form = *rules.form;
  const size_t start = out.size();
  out.resize(start + form.size, 0);
  if (IsCacheForm(form)) {
    PutCache(rules, sum, out.data() + start);
    return;
  }
  PutHead(rules, sum, out.data() + start);
  if (IsIdle(form, sum)) {
    out[start + static_cast<size_t>(form.compact)] = 1;
    out.resize(start + form.head);
    return;
  }
  for (size_t i = 0; i < form.quadsets; ++i) {
    PutGroup(rules.rule, sum.groups[i], sum.time,
             out.data() + start + form.quadsets_at + i * kQuadsetSize);
  }
  const size_t last = 4 * size_t{form.tracked} + 2;
  for (size_t position = 0; position < 32; ++position) {
    if ((rules.out_mask & (kFirstOfBitmap >> position)) == 0) continue;
    const uint32_t word = position < last ? Word(sum.extremes[position]) : 0;
    out.resize(out.size() + 4);
    Store32(out.data() + out.size() - 4, word);
  }
}

}  // namespace psltool
