// Fields of entries: see the header. Columns and values come from the same walks, once with the
// names, once with an entry; so they cannot differ.
#include "tools/reading/entry_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/reading/array_tables.h"
#include "tools/reading/entry_walk.h"

namespace psltool {

namespace {

constexpr uint32_t kTopBit = 0x80000000;
constexpr double kRatioPerPercent = 100.0;  // ratios are in hundredths of a percent
constexpr double kMilli = 1000.0;           // operation rates of extremes are thousandths
constexpr double kVolumeUnit = 1024.0;
constexpr size_t kCacheFlag = 10;
constexpr uint8_t kNoSecondRatio = 0x80;  // in the flags byte of cache segments

uint32_t FullMask(const PslHeader& header, Kind kind) {
  const RevisionLayout& layout = LayoutOf(header.revision);
  for (size_t i = 0; i < layout.bitmap_count; ++i) {
    if (layout.bitmaps[i].kind == kind) return layout.bitmaps[i].full;
  }
  return 0;
}

bool IsSet(const FlagBit& flag, std::span<const uint8_t> entry) {
  return (entry[static_cast<size_t>(flag.at)] & flag.bit) != 0;
}

uint64_t WordOf(std::span<const uint8_t> entry, size_t at) { return Load32(entry.data() + at); }
uint64_t HalfOf(std::span<const uint8_t> entry, size_t at) { return Load16(entry.data() + at); }
Value Percent(std::span<const uint8_t> entry, size_t at) {
  return Load16(entry.data() + at) / kRatioPerPercent;
}

// Not-valid entries measured nothing: what follows from their words would mislead.
bool IsValid(const Form& form, std::span<const uint8_t> entry) {
  return entry[static_cast<size_t>(form.not_valid)] == 0;
}

bool IsCompact(const Form& form, std::span<const uint8_t> entry) {
  return form.compact != kNone && entry[static_cast<size_t>(form.compact)] != 0;
}

double SecondsOf(std::span<const uint8_t> entry) {
  return static_cast<double>(WordOf(entry, kAtInterval)) / kMilli;
}

std::string HexText(std::span<const uint8_t> bytes) {
  std::string text;
  for (const uint8_t byte : bytes) text += fmt::format("{:02x}", byte);
  return text;
}

// Carried words have names of their own, which are made only for those who keep them.
std::string NameOfCarried(int8_t at) { return fmt::format("word_at_{}", at); }

std::vector<uint8_t> PlacesOf(const std::vector<bool>& wanted) {
  std::vector<uint8_t> places;
  for (const bool each : wanted) places.push_back(each ? 0 : ColumnChoice::kNowhere);
  return places;
}

}  // namespace

double NumberOr(const Value& value, double otherwise) { return AsNumber(value, otherwise); }

ColumnChoice::ColumnChoice(const std::vector<Column>& columns, const std::vector<bool>& wanted)
    : ColumnChoice(columns, PlacesOf(wanted)) {}

ColumnChoice::ColumnChoice(const std::vector<Column>& columns, std::vector<uint8_t> where)
    : places(std::move(where)) {
  for (size_t i = 0; i < columns.size(); ++i) {
    const size_t group = columns[i].group;
    if (group >= groups.size()) groups.resize(group + 1);
    ++groups[group].columns;
    if (places[i] == kNowhere) continue;
    groups[group].wanted = true;
    count = std::max<size_t>(count, places[i] + 1U);
  }
}

double DecodeCountWord(uint32_t word) {
  return (word & kTopBit) == 0 ? word : static_cast<double>(uint64_t{word & ~kTopBit} * 256);
}

EntryFields::EntryFields(const PslHeader& header, const SectionRow& row, QuadRule rule, bool raw)
    : form_(kForms[row.form]),
      mask_(header.masks[row.kind]),
      full_mask_(FullMask(header, row.kind)),
      revision_(header.revision),
      filled_(header.revision >= form_.filled_from),
      rule_(rule),
      raw_(raw) {
  Walk({}, Namer{columns_});
}

void EntryFields::Decode(const Entry& entry, std::vector<Value>& values) const {
  values.clear();
  Walk(entry, Taker{values});
}

void EntryFields::Decode(const Entry& entry, const ColumnChoice& choice,
                         std::vector<Value>& values) const {
  values.resize(columns_.size());
  size_t at = 0;
  Walk(entry, ValuePicker{{choice, at}, values});
}

void EntryFields::DecodeNumbers(const Entry& entry, const ColumnChoice& choice,
                                std::vector<double>& numbers) const {
  numbers.assign(choice.count, kNoNumber);
  size_t at = 0;
  Walk(entry, Picker{{choice, at}, numbers.data()});
}

// The word of a mask bit, counted from bit 31 down.
Value EntryFields::WordAt(const Entry& entry, size_t position) const {
  const uint32_t bit = kTopBit >> position;
  if (entry.words.empty() || (mask_ & bit) == 0) return {};
  const auto before = static_cast<size_t>(std::popcount(mask_ & ~(bit | (bit - 1))));
  return WordOf(entry.words, 4 * before);
}

template <class Put>
void EntryFields::Walk(const Entry& entry, Put put) const {
  const std::span<const uint8_t>& bytes = entry.bytes;
  put("key", "key", 0, [&]() -> Value {
    return KeyText(form_.key, entry.key_count, EntryKey(form_.key, entry.key_count, bytes));
  });
  if (raw_) put("offset", "offset", 0, [&]() -> Value { return entry.offset; });
  put("status", "status", 0, [&]() -> Value { return WordOf(bytes, kAtStatus); });
  put("interval_ms", "interval ms", 0, [&]() -> Value { return WordOf(bytes, kAtInterval); });
  WalkFlags(entry, put);
  WalkCache(entry, put);
  const size_t positions = 4 * size_t{form_.tracked};
  for (size_t i = 0; i < form_.quadsets; ++i) {
    const bool valid = !bytes.empty() && IsValid(form_, bytes);
    WalkGroup(entry, {i + 1, form_.quadsets_at + i * kQuadsetSize, valid}, put);
  }
  for (size_t i = 0; i < form_.more_quadsets.size(); ++i) {
    // Of cache modules these count whether the module is valid or not.
    if (form_.more_quadsets[i] != 0) {
      WalkGroup(entry, {form_.quadsets + i + 1, form_.more_quadsets[i], !bytes.empty()}, put);
    }
  }
  if (!raw_) return;
  for (size_t position = positions; position < 32; ++position) {
    if ((mask_ & (kTopBit >> position)) == 0) continue;
    const std::string name = fmt::format("word_bit{}", 31 - position);
    put(name.c_str(), name.c_str(), 0, [&] { return WordAt(entry, position); });
  }
}

template <class Put>
void EntryFields::WalkFlags(const Entry& entry, Put put) const {
  const std::span<const uint8_t>& bytes = entry.bytes;
  put("valid", "valid", 0, [&]() -> Value { return IsValid(form_, bytes); });
  if (form_.compact != kNone) {
    put("compact", "compact", 0, [&]() -> Value { return IsCompact(form_, bytes); });
  }
  if (form_.ratio != kNone) WalkRatio(entry, put);
  if (form_.second_ratio != kNone) {
    const auto second = static_cast<size_t>(form_.second_ratio);
    const auto flags = static_cast<size_t>(form_.second_flags);
    put("second_pct", "second %", 0, [&]() -> Value {
      const bool absent =
          (bytes[flags] & kNoSecondRatio) != 0 || entry.key_count == form_.key.count;
      return absent || !IsValid(form_, bytes) ? Value() : Percent(bytes, second);
    });
    put("second_flags", "second flags", 0, [&]() -> Value { return uint64_t{bytes[flags]}; });
  }
  if (form_.counted.at != kNone) {
    put("counted", "counted", 0, [&]() -> Value { return IsSet(form_.counted, bytes); });
  }
  if (!filled_) return;
  if (form_.sticky.at != kNone) {
    put("sticky", "sticky", 0, [&]() -> Value { return IsSet(form_.sticky, bytes); });
  }
  if (form_.kept.at != kNone && revision_ >= form_.kept_from) {
    put("mark", "mark", 0, [&]() -> Value { return IsSet(form_.kept, bytes); });
  }
  for (const int8_t at : form_.carried) {
    if (at == kNone) continue;
    const std::string name = Put::kNames ? NameOfCarried(at) : std::string();
    put(name.c_str(), name.c_str(), 0,
        [&]() -> Value { return WordOf(bytes, static_cast<size_t>(at)); });
  }
}

// The busy ratio, which the files of an older revision do not have though their entries can have
// the room for it.
template <class Put>
void EntryFields::WalkRatio(const Entry& entry, Put put) const {
  const std::span<const uint8_t>& bytes = entry.bytes;
  const auto at = static_cast<size_t>(form_.ratio);
  const auto busy = [&]() -> Value {
    const bool present = form_.ratio_flag.at == kNone || IsSet(form_.ratio_flag, bytes);
    return present && IsValid(form_, bytes) ? Percent(bytes, at) : Value();
  };
  if (filled_) put("busy_pct", "busy %", 0, busy);
  for (const size_t i : {size_t{0}, size_t{1}}) {
    const size_t position = 4 * size_t{form_.tracked} + i;
    if ((mask_ & full_mask_ & (kTopBit >> position)) == 0) continue;
    put(i == 0 ? "busy_pct_max" : "busy_pct_min", i == 0 ? "busy % max" : "busy % min", 0,
        [&]() -> Value {
          // An idle entry has no words; it was as busy as its ratio says, which is next to nothing.
          if (IsCompact(form_, bytes)) return busy();
          const Value word = WordAt(entry, position);
          if (!std::holds_alternative<uint64_t>(word) || !IsValid(form_, bytes)) return {};
          return static_cast<double>(std::get<uint64_t>(word)) / kRatioPerPercent;
        });
  }
  if (raw_) put("ratio", "ratio", 0, [&]() -> Value { return HalfOf(bytes, at); });
}

// Fields that only cache modules have: two ratios with a maximum each, and two rates. A module that
// is not valid has the first ratio and maximum not measured; the others count all the same.
template <class Put>
void EntryFields::WalkCache(const Entry& entry, Put put) const {
  static constexpr const char* kNames[] = {"first_pct", "first_max", "second_pct", "second_max"};
  static constexpr const char* kHeads[] = {"first %", "first max", "second %", "second max"};
  const std::span<const uint8_t>& bytes = entry.bytes;
  for (size_t i = 0; i < form_.more16.size(); ++i) {
    const size_t at = form_.more16[i];
    if (at == 0) continue;
    put(kNames[i], kHeads[i], 0, [&]() -> Value {
      if (i < 2 && !IsValid(form_, bytes)) return {};
      return i % 2 == 0 ? Percent(bytes, at) : Value(HalfOf(bytes, at));
    });
  }
  for (size_t i = 0; i < form_.more32.size(); ++i) {
    const size_t at = form_.more32[i];
    if (at == 0) continue;
    put(i == 0 ? "first_rate" : "second_rate", i == 0 ? "first rate" : "second rate", 0,
        [&]() -> Value { return WordOf(bytes, at); });
  }
  if (form_.more32[0] != 0) {
    put("flags", "flags", 0, [&]() -> Value { return uint64_t{bytes[kCacheFlag]}; });
  }
}

template <class Put>
void EntryFields::WalkGroup(const Entry& entry, const Group& group, Put put) const {
  if (put.Skips(group.number)) return;
  const std::span<const uint8_t>& bytes = entry.bytes;
  const auto [number, at, valid] = group;
  // Compact entries did nothing, not-valid ones nothing that is known.
  const bool stored = bytes.size() >= form_.size;
  const double count = stored && valid ? DecodeCountWord(Load32(bytes.data() + at)) : 0.0;
  const double seconds = bytes.empty() ? 0.0 : SecondsOf(bytes);
  const auto word = [&](size_t i) -> Value {
    return stored && valid ? Value(WordOf(bytes, at + 4 * i)) : Value();
  };
  put("ops", "ops", number, [&]() -> Value { return valid ? Value(count) : Value(); });
  put("ops_per_s", "ops/s", number,
      [&]() -> Value { return valid && seconds > 0 ? Value(count / seconds) : Value(); });
  put("first_mean", "1st mean/op", number, [&] { return word(1); });
  put("max", "max", number, [&] { return word(2); });
  put("second_mean", rule_ == QuadRule::kCurrent ? "2nd mean/op" : "2nd mean", number,
      [&] { return word(3); });
  if (rule_ == QuadRule::kCurrent) {
    put("kvolume_per_s", "volume/1024/s", number, [&]() -> Value {
      if (!valid || !(seconds > 0)) return {};
      const double volume = stored ? static_cast<double>(WordOf(bytes, at + 12)) * count : 0.0;
      return volume / seconds / kVolumeUnit;
    });
  }
  if (raw_) {
    static constexpr const char* kWords[] = {"q0", "q1", "q2", "q3"};
    for (size_t i = 0; i < 4; ++i) {
      put(kWords[i], kWords[i], number,
          [&]() -> Value { return stored ? Value(WordOf(bytes, at + 4 * i)) : Value(); });
    }
  }
  if (number <= form_.tracked) WalkExtremes(entry, number, put);
}

// The extended words of a counter group: largest and smallest rate, largest and smallest volume.
template <class Put>
void EntryFields::WalkExtremes(const Entry& entry, size_t group, Put put) const {
  struct Extreme {
    const char* name;
    const char* head;
  };
  static constexpr Extreme kCurrent[] = {{"ops_per_s_max", "ops/s max"},
                                         {"ops_per_s_min", "ops/s min"},
                                         {"kvolume_per_s_max", "volume/1024/s max"},
                                         {"kvolume_per_s_min", "volume/1024/s min"}};
  static constexpr Extreme kOlder[] = {{"ops_per_s_max", "ops/s max"},
                                       {"ops_per_s_min", "ops/s min"},
                                       {"second_mean_max", "2nd mean max"},
                                       {"second_mean_min", "2nd mean min"}};
  static constexpr const char* kRaw[] = {"x0", "x1", "x2", "x3"};
  for (size_t i = 0; i < 4; ++i) {
    const size_t position = 4 * (group - 1) + i;
    if ((mask_ & (kTopBit >> position)) == 0) continue;
    const Extreme& extreme = rule_ == QuadRule::kCurrent ? kCurrent[i] : kOlder[i];
    if ((full_mask_ & (kTopBit >> position)) != 0) {
      const bool rate = i < 2 || rule_ == QuadRule::kCurrent;
      put(extreme.name, extreme.head, group, [&]() -> Value {
        if (!IsValid(form_, entry.bytes)) return {};
        // An idle entry has no words. Its rates were 0 all the time.
        if (rate && IsCompact(form_, entry.bytes)) {
          return SecondsOf(entry.bytes) > 0 ? Value(0.0) : Value();
        }
        const Value word = WordAt(entry, position);
        if (!std::holds_alternative<uint64_t>(word)) return {};
        return i < 2 ? Value(static_cast<double>(std::get<uint64_t>(word)) / kMilli) : word;
      });
    }
    if (raw_) put(kRaw[i], kRaw[i], group, [&] { return WordAt(entry, position); });
  }
}

ElementFields::ElementFields(Kind kind, bool raw) : kind_(kind), raw_(raw) {
  Walk({}, Namer{columns_});
}

void ElementFields::Decode(const Element& element, std::vector<Value>& values) const {
  values.clear();
  Walk(element, Taker{values});
}

std::string ElementFields::KeyOf(std::span<const uint8_t> element) const {
  if (kind_ == kConc || kind_ == kWaittm) return std::to_string(HalfOf(element, 0));
  if (kind_ == kCab) return fmt::format("{}.{}", element[0], HalfOf(element, 2));
  return fmt::format("{}.{}.{}.{}", element[0], element[1], element[2], element[3]);
}

template <class Put>
void ElementFields::Walk(const Element& element, Put put) const {
  constexpr size_t kConcPresent = 12;
  constexpr size_t kCabValue = 8;
  const std::span<const uint8_t>& bytes = element.bytes;
  put("key", "key", 0, [&]() -> Value { return KeyOf(bytes); });
  if (raw_) put("offset", "offset", 0, [&]() -> Value { return element.offset; });
  put("status", "status", 0, [&]() -> Value { return WordOf(element.item, kAtStatus); });
  put("interval_ms", "interval ms", 0,
      [&]() -> Value { return WordOf(element.item, kAtInterval); });
  put("item_flag", "item flag", 0, [&]() -> Value { return uint64_t{element.item[kItemFlag]}; });
  if (kind_ == kConc) {
    put("present", "present", 0, [&]() -> Value { return bytes[kConcPresent] == 1; });
  } else if (kind_ == kCab) {
    put("value", "value", 0, [&]() -> Value { return WordOf(bytes, kCabValue); });
  } else if (kind_ == kWaittm) {
    const auto count = [&] { return DecodeCountWord(Load32(bytes.data() + kQuadsetSize)); };
    put("ops", "ops", 1, [&]() -> Value { return count(); });
    put("ops_per_s", "ops/s", 1, [&]() -> Value {
      const auto interval = static_cast<double>(WordOf(element.item, kAtInterval));
      return interval > 0 ? Value(count() * kMilli / interval) : Value();
    });
    put("first_mean", "1st mean/op", 1, [&]() -> Value { return WordOf(bytes, kQuadsetSize + 4); });
    put("max", "max", 1, [&]() -> Value { return WordOf(bytes, kQuadsetSize + 8); });
    put("second_mean", "2nd mean/op", 1,
        [&]() -> Value { return WordOf(bytes, kQuadsetSize + 12); });
  }
  if (raw_) put("bytes", "bytes", 0, [&]() -> Value { return HexText(bytes); });
}

}  // namespace psltool
