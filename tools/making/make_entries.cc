// Statistics entries: see the header.
#include "tools/making/make_entries.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"

namespace psltool {

namespace {

constexpr uint32_t kTopBit = 0x80000000;
constexpr double kFullRatio = 10000;  // hundredths of a percent
constexpr uint32_t kStatusNormal = 1;
constexpr uint32_t kNotValidOneIn = 2000;
constexpr uint32_t kNoRatioOneIn = 400;
constexpr uint32_t kStickyOneIn = 3000;
constexpr uint32_t kBurstOneIn = 30;
constexpr uint32_t kMilliseconds = 1000;

// How the operations of a resource divide among its counter groups, and how large they are in each:
// single reads and writes first, streams behind them.
constexpr std::array<double, 6> kParts = {0.52, 0.26, 0.11, 0.06, 0.03, 0.02};
constexpr std::array<double, 6> kSizes = {1.0, 1.0, 4.0, 4.0, 0.5, 0.5};

uint32_t Word(double value) {
  if (!(value > 0)) return 0;
  return value >= 4294967295.0 ? 0xFFFFFFFFU : static_cast<uint32_t>(value);
}

uint16_t Ratio(double value) { return static_cast<uint16_t>(std::clamp(value, 0.0, kFullRatio)); }

// What the resource did in the interval.
struct Work {
  double operations;
  double usage;  // 0 to 1
};

Work WorkOf(const EntryContext& context, const Resource& resource, double demand, Random& random) {
  if (demand == 0) return {0, 0};
  double rate = resource.full_rate * demand;
  if (context.perturbed) {
    rate *= 0.8 + 0.4 * random.Fraction();
    if (resource.hot && random.OneIn(kBurstOneIn)) rate *= 1.8;
  }
  const double usage = std::min(0.97, rate * resource.service / 1000000);
  return {static_cast<double>(static_cast<uint64_t>(rate * context.interval + random.Fraction())),
          usage};
}

void SetFlag(uint8_t* entry, const FlagBit& flag) {
  if (flag.at != kNone) entry[flag.at] = static_cast<uint8_t>(entry[flag.at] | flag.bit);
}

// Puts group `i` of the entry.
void PutGroup(uint8_t* out, const Resource& resource, const Work& work, size_t i, Random& random) {
  const double part = work.operations * kParts[i];
  const double count = std::floor(part + 0.5);
  if (count == 0) {
    std::memset(out, 0, kQuadsetSize);
    return;
  }
  const uint64_t noise = random.Next();
  const double first =
      resource.service * (0.9 + 0.2 * FractionOf(noise, 0)) / (1.0 - work.usage * 0.8);
  const double largest = first * (1.5 + 6.0 * FractionOf(noise, 16));
  const double volume = resource.size * kSizes[i] * (0.8 + 0.4 * FractionOf(noise, 32));
  PutQuadset(out, count, Word(first), Word(largest), Word(volume) / 512 * 512 + 512);
}

// The fields of cache modules that the other kinds do not have: pairs of a ratio and its maximum,
// two rates and a byte of flags.
void PutCacheFields(uint8_t* entry, const Form& form, const Work& work) {
  const auto put = [&](const Field& field, double share) {
    Store16(entry + field.at, Ratio(share * kFullRatio));
  };
  for (const Field& field : form.Fields()) {
    uint8_t* const at = entry + field.at;
    if (field.role == Role::kCacheRatio1) put(field, 0.55 + 0.3 * work.usage);
    if (field.role == Role::kCacheMaximum1) put(field, 0.65 + 0.3 * work.usage);
    if (field.role == Role::kCacheRatio2) put(field, 0.35 * work.usage);
    if (field.role == Role::kCacheMaximum2) put(field, 0.50 * work.usage);
    if (field.role == Role::kCacheRate1) Store32(at, Word(work.operations * 0.3));
    if (field.role == Role::kCacheRate2) Store32(at, Word(work.operations * 0.2));
    if (field.role == Role::kCacheFlags) *at = work.usage > 0.7 ? 1 : 0;
  }
}

// Puts the words of the mask's bits: what a collector saw at a finer grain than the interval.
uint8_t* PutWords(uint8_t* out, const EntryContext& context, const uint8_t* entry, double ratio) {
  const Form& form = *context.form;
  for (uint32_t position = 0; position < 32; ++position) {
    if ((context.mask & (kTopBit >> position)) == 0) continue;
    const double spread = position % 2 == 0 ? 1.3 : 0.7;  // largest, smallest
    double value = 0;
    if (position / 4 < form.tracked) {
      const uint8_t* group = entry + form.quadsets_at + position / 4 * kQuadsetSize;
      const uint32_t word = Load32(group);
      const double count =
          (word & kTopBit) == 0 ? word : static_cast<double>(uint64_t{word & ~kTopBit} * 256);
      const double volume = Load32(group + 12);
      if (position % 4 < 2) {
        value = count * kMilliseconds / context.interval;
      } else if (context.rule == QuadRule::kCurrent) {
        value = volume * count / context.interval / 1024.0;
      } else {
        value = volume;
      }
    } else if (position / 4 == form.tracked && position % 4 < 2) {
      value = std::min(ratio, kFullRatio / 1.3);
    }
    Store32(out, Word(value * spread));
    out += 4;
  }
  return out;
}

void PutKey(uint8_t* entry, const EntryContext& context, const Resource& resource) {
  for (size_t i = 0; i < context.key_count; ++i) {
    entry[context.form->key.at[i]] = resource.key[i];
  }
}

void PutMarks(uint8_t* entry, const EntryContext& context, const Resource& resource,
              Random& random) {
  const Form& form = *context.form;
  if (form.sticky.at != kNone && context.perturbed && random.OneIn(kStickyOneIn)) {
    SetFlag(entry, form.sticky);
  }
  if (context.revision >= form.kept_from && resource.mark) SetFlag(entry, form.kept);
}

}  // namespace

uint32_t CountWord(double count) {
  if (count <= 2147483647.0) return Word(count);
  return Word(std::min(count / 256, 2147483647.0)) | kTopBit;
}

void PutQuadset(uint8_t* out, double count, uint32_t first, uint32_t largest, uint32_t volume) {
  Store32(out, CountWord(count));
  Store32(out + 4, first);
  Store32(out + 8, std::max(first, largest));
  Store32(out + 12, volume);
}

uint32_t FullEntrySize(const Form& form, uint32_t mask) {
  return form.size + 4 * static_cast<uint32_t>(std::popcount(mask));
}

uint8_t* PutEntry(uint8_t* out, const EntryContext& context, const Resource& resource,
                  Random& random) {
  const Form& form = *context.form;
  const double demand =
      context.idle.Holds(resource.idle_place) ? 0 : Demand(resource.group, context.load);
  std::memset(out, 0, form.size);
  PutKey(out, context, resource);
  if ((context.perturbed && random.OneIn(kNotValidOneIn)) ||
      context.not_valid.Holds(resource.not_valid_place)) {
    // Nothing was measured: the entry says so and is otherwise empty.
    out[form.not_valid] = 1;
    const uint32_t full = FullEntrySize(form, context.mask);
    std::memset(out + form.size, 0, full - form.size);
    return out + full;
  }
  Store32(out + kAtStatus, kStatusNormal);
  Store32(out + kAtInterval, context.interval * kMilliseconds);
  for (size_t i = 0; i < form.carried.size(); ++i) {
    if (form.carried[i] != kNone) Store32(out + form.carried[i], resource.carried[i]);
  }
  PutMarks(out, context, resource, random);
  SetFlag(out, form.counted);

  const Work work = WorkOf(context, resource, demand, random);
  uint16_t ratio = 0;
  if (form.ratio != kNone &&
      !(form.ratio_flag.at != kNone && context.perturbed && random.OneIn(kNoRatioOneIn))) {
    ratio = Ratio(work.usage * kFullRatio);
    Store16(out + form.ratio, ratio);
    SetFlag(out, form.ratio_flag);
  }
  if (form.second_ratio != kNone && context.key_count < form.key.count) {
    Store16(out + form.second_ratio, Ratio(work.usage * kFullRatio / 2));
  } else if (form.second_ratio != kNone) {
    out[form.second_flags] = 0x80;  // no second ratio: its place is the key's
  }
  if (demand == 0 && form.compact != kNone) {
    out[form.compact] = 1;
    return out + form.head;
  }
  for (size_t i = 0; i < form.quadsets; ++i) {
    PutGroup(out + form.quadsets_at + i * kQuadsetSize, resource, work, i, random);
  }
  PutCacheFields(out, form, work);
  for (size_t i = 0; i < form.more_quadsets.size(); ++i) {
    if (form.more_quadsets[i] != 0) {
      PutGroup(out + form.more_quadsets[i], resource, work, form.quadsets + i, random);
    }
  }
  return PutWords(out + form.size, context, out, ratio);
}

}  // namespace psltool
