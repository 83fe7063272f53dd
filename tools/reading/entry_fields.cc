// Fields of entries: see the header. Columns follow the fields of the row, with a step for each
// that makes its value; so names and values cannot differ.
#include "tools/reading/entry_fields.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/reading/array_tables.h"

namespace psltool {

namespace {

constexpr uint32_t kTopBit = 0x80000000;
constexpr double kRatioPerPercent = 100.0;  // ratios are in hundredths of a percent
constexpr double kMilli = 1000.0;           // operation rates of extremes are thousandths
constexpr double kVolumeUnit = 1024.0;
constexpr uint8_t kNoSecondRatio = 0x80;  // in the flags byte of cache segments
constexpr Form kNoForm = {};              // of elements

using Bytes = std::span<const uint8_t>;

uint32_t FullMask(const PslHeader& header, Kind kind) {
  const BitmapRow* const bitmap = FindRow(LayoutOf(header.revision).Bitmaps(), kind);
  return bitmap == nullptr ? 0 : bitmap->full;
}

uint64_t WordOf(Bytes bytes, size_t at) { return Load32(bytes.data() + at); }

// Not-valid entries measured nothing: what follows from their words would mislead.
bool IsValid(const Form& form, Bytes entry) {
  return entry[static_cast<size_t>(form.not_valid)] == 0;
}

bool IsCompact(const Form& form, Bytes entry) {
  return form.compact != kNone && entry[static_cast<size_t>(form.compact)] != 0;
}

bool HasRatio(const Form& form, Bytes entry) {
  const FlagBit& flag = form.ratio_flag;
  return IsValid(form, entry) &&
         (flag.at == kNone || (entry[static_cast<size_t>(flag.at)] & flag.bit) != 0);
}

double SecondsOf(Bytes entry) { return static_cast<double>(WordOf(entry, kAtInterval)) / kMilli; }

// What tables call a column: "ops/s" for "ops_per_s", "busy %" for "busy_pct".
std::string HeadingOf(std::string_view name, QuadRule rule) {
  static constexpr std::pair<std::string_view, std::string_view> kWords[] = {
      {"kvolume_per_s", "volume/1024/s"},
      {"ops_per_s", "ops/s"},
      {"first_mean", "1st mean/op"},
      {"second_mean", "2nd mean"},
      {"_pct", " %"}};
  std::string heading(name);
  for (const auto& [from, to] : kWords) {
    const size_t at = heading.find(from);
    if (at != std::string::npos) heading.replace(at, from.size(), to);
  }
  if (name == "second_mean" && rule == QuadRule::kCurrent) heading += "/op";
  std::replace(heading.begin(), heading.end(), '_', ' ');
  return heading;
}

// A value as a number, whatever else its variant can hold.
template <class Variant>
double AsNumber(const Variant& value, double otherwise) {
  if (const auto* number = std::get_if<uint64_t>(&value)) return static_cast<double>(*number);
  if (const auto* real = std::get_if<double>(&value)) return *real;
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? 1 : 0;
  return otherwise;
}

}  // namespace

double NumberOr(const Value& value, double otherwise) { return AsNumber(value, otherwise); }

ColumnChoice::ColumnChoice(const std::vector<uint8_t>& places) {
  for (size_t i = 0; i < places.size(); ++i) {
    if (places[i] == kNowhere) continue;
    columns.emplace_back(i, places[i]);
    count = std::max<size_t>(count, places[i] + 1U);
  }
}

ColumnChoice::ColumnChoice(const std::vector<bool>& wanted) {
  for (size_t i = 0; i < wanted.size(); ++i) {
    if (wanted[i]) columns.emplace_back(i, uint8_t{0});
  }
}

double DecodeCountWord(uint32_t word) {
  return (word & kTopBit) == 0 ? word : static_cast<double>(uint64_t{word & ~kTopBit} * 256);
}

std::string ElementKey(const ItemRow& row, std::span<const uint8_t> element) {
  std::string key;
  const auto add = [&key](unsigned part) {
    key += (key.empty() ? "" : ".") + std::to_string(part);
  };
  for (const Field& field : FieldsOfList(row.fields)) {
    if (field.role == Role::kKeyNumber) add(Load16(element.data() + field.at));
    if (field.role != Role::kKey && field.role != Role::kKeyBytes) continue;
    for (size_t i = 0; i < field.width(); ++i) add(element[field.at + i]);
  }
  return key;
}

// --- the columns ----------------------------------------------------------------------------------

EntryFields::EntryFields(const PslHeader& header, const SectionRow& row, QuadRule rule, bool raw)
    : form_(kForms[row.form]),
      mask_(header.masks[row.kind]),
      full_mask_(FullMask(header, row.kind)),
      revision_(header.revision),
      rule_(rule),
      raw_(raw) {
  Add({Content::kKey});
  if (raw_) Add({Content::kOffset});
  size_t groups = 0;
  for (const Field& field : form_.Fields()) AddField(field, groups);
  // Words of bits that stand for no extreme.
  for (size_t position = 4 * size_t{form_.tracked}; raw_ && position < 32; ++position) {
    if ((mask_ & (kTopBit >> position)) == 0) continue;
    const std::string name = fmt::format("word_bit{}", 31 - position);
    Add({Content::kExtendedWord, {}, static_cast<uint8_t>(position)}, name, name, 0);
  }
}

EntryFields::EntryFields(const ItemRow& row, bool raw) : form_(kNoForm), item_(&row), raw_(raw) {
  Add({Content::kKey});
  if (raw_) Add({Content::kOffset});
  size_t groups = 0;
  for (const Field& field : kCommonFields) AddField(field, groups);
  Add({Content::kItemFlag, {kItemFlag, Role::kNothing}});
  for (const Field& field : FieldsOfList(row.fields)) AddField(field, groups);
  if (raw_) Add({Content::kRawBytes});
}

// A column that is called what its row says.
void EntryFields::Add(const Step& step, size_t group) {
  const bool field = step.content == Content::kField;
  const ContentRow row = field ? RowOf(step.field.role) : RowOf(step.content);
  Add(step, std::string(row.name), HeadingOf(row.name, rule_), group);
}

void EntryFields::Add(const Step& step, std::string name, std::string heading, size_t group) {
  if (group != 0) name = fmt::format("g{}_{}", group, name);
  columns_.push_back({std::move(name), std::move(heading), static_cast<uint8_t>(group),
                      step.content, step.field.role});
  steps_.push_back(step);
}

// `groups`: counter groups so far.
void EntryFields::AddField(const Field& field, size_t& groups) {
  if (field.unit() == FieldUnit::kQuadset) {
    for (size_t i = 0; i < field.count(); ++i) {
      AddGroup(++groups, {static_cast<uint8_t>(field.at + i * kQuadsetSize), field.role});
    }
  }
  if (!HasColumn(field.role)) return;
  if (field.role == Role::kRatio) {
    AddRatio(field);
  } else if (field.role == Role::kCarried && HoldsField(form_, field, revision_)) {
    // Carried words are told apart by their places.
    const std::string name = fmt::format("{}{}", field.name(), field.at);
    Add({Content::kField, field}, name, name, 0);
  } else if (item_ != nullptr || HoldsField(form_, field, revision_)) {
    Add({Content::kField, field});
  }
}

// The busy ratio, which the files of an older revision do not have though their entries can have
// the room for it.
void EntryFields::AddRatio(const Field& field) {
  if (HoldsField(form_, field, revision_)) Add({Content::kField, field});
  for (const size_t i : {size_t{0}, size_t{1}}) {
    const size_t position = 4 * size_t{form_.tracked} + i;
    if ((mask_ & full_mask_ & (kTopBit >> position)) == 0) continue;
    Add({i == 0 ? Content::kFieldMax : Content::kFieldMin, field, static_cast<uint8_t>(position)});
  }
  if (raw_) Add({Content::kRawRatio, field});
}

// The group that stands in `field`. Of cache modules positioned groups count whether the module is
// valid or not.
void EntryFields::AddGroup(size_t number, const Field& field) {
  const bool always = item_ != nullptr || field.role == Role::kPositionedGroups;
  const auto add = [&](Content content) { Add({content, field, 0, always}, number); };
  add(Content::kOps);
  add(Content::kOpsRate);
  add(Content::kFirstMean);
  add(Content::kMaximum);
  add(Content::kSecondMean);
  if (item_ != nullptr) return;
  if (rule_ == QuadRule::kCurrent) add(Content::kVolumeRate);
  for (uint8_t i = 0; raw_ && i < 4; ++i) {
    const std::string name = fmt::format("q{}", i);
    Add({Content::kRawWord, field, i}, name, name, number);
  }
  if (number <= form_.tracked) AddExtremes(number, field);
}

// The extended words of a counter group: largest and smallest rate, largest and smallest volume.
void EntryFields::AddExtremes(size_t number, const Field& field) {
  for (size_t i = 0; i < 4; ++i) {
    const auto position = static_cast<uint8_t>(4 * (number - 1) + i);
    if ((mask_ & (kTopBit >> position)) == 0) continue;
    if ((full_mask_ & (kTopBit >> position)) != 0) {
      Add({ExtremeContent(rule_, i), field, position}, number);
    }
    if (!raw_) continue;
    const std::string name = fmt::format("x{}", i);
    Add({Content::kExtendedWord, field, position}, name, name, number);
  }
}

// --- their values ---------------------------------------------------------------------------------

void EntryFields::Decode(const Entry& entry, std::vector<Value>& values) const {
  values.clear();
  for (const Step& step : steps_) values.push_back(ValueOf(step, entry));
}

void EntryFields::Decode(const Entry& entry, const ColumnChoice& choice,
                         std::vector<Value>& values) const {
  values.resize(columns_.size());
  for (const auto& [column, place] : choice.columns)
    values[column] = ValueOf(steps_[column], entry);
}

void EntryFields::DecodeNumbers(const Entry& entry, const ColumnChoice& choice,
                                std::vector<double>& numbers) const {
  numbers.assign(choice.count, kNoNumber);
  for (const auto& [column, place] : choice.columns) {
    numbers[place] = AsNumber(FigureOf(steps_[column], entry), kNoNumber);
  }
}

Value EntryFields::ValueOf(const Step& step, const Entry& entry) const {
  if (step.content == Content::kKey) return KeyOf(entry);
  if (step.content == Content::kRawBytes) {
    std::string text;
    for (const uint8_t byte : entry.bytes) text += fmt::format("{:02x}", byte);
    return text;
  }
  return std::visit([](const auto& value) -> Value { return value; }, FigureOf(step, entry));
}

std::string EntryFields::KeyOf(const Entry& entry) const {
  if (item_ != nullptr) return ElementKey(*item_, entry.bytes);
  return KeyText(form_.key, entry.key_count, EntryKey(form_.key, entry.key_count, entry.bytes));
}

// The word of a mask bit, counted from bit 31 down.
EntryFields::Figure EntryFields::WordAt(const Entry& entry, size_t position) const {
  const uint32_t bit = kTopBit >> position;
  if (entry.words.empty() || (mask_ & bit) == 0) return {};
  const auto before = static_cast<size_t>(std::popcount(mask_ & ~(bit | (bit - 1))));
  return WordOf(entry.words, 4 * before);
}

EntryFields::Figure EntryFields::FigureOf(const Step& step, const Entry& entry) const {
  switch (step.content) {
    case Content::kField:
      return FieldFigure(step.field, entry);
    case Content::kFieldMax:
    case Content::kFieldMin:
      return RatioExtreme(step, entry);
    case Content::kItemFlag:
      return uint64_t{entry.item[step.field.at]};
    case Content::kOffset:
      return entry.offset;
    case Content::kRawRatio:
      return uint64_t{Load16(entry.bytes.data() + step.field.at)};
    case Content::kRawWord:
      if (entry.bytes.size() < form_.size) return {};
      return WordOf(entry.bytes, step.field.at + 4 * size_t{step.position});
    case Content::kExtendedWord:
      return WordAt(entry, step.position);
    case Content::kOps:
    case Content::kOpsRate:
    case Content::kFirstMean:
    case Content::kMaximum:
    case Content::kSecondMean:
    case Content::kVolumeRate:
      return GroupFigure(step, entry);
    default:
      return ExtremeFigure(step, entry);
  }
}

EntryFields::Figure EntryFields::FieldFigure(const Field& field, const Entry& entry) const {
  Bytes bytes = entry.bytes;
  switch (field.role) {
    case Role::kStatus:
    case Role::kInterval:
      if (item_ != nullptr) bytes = entry.item;
      break;
    case Role::kNotValid:
      return bytes[field.at] == 0;
    case Role::kPresent:
      return bytes[field.at] == 1;
    case Role::kRatio:
      if (!HasRatio(form_, bytes)) return {};
      break;
    case Role::kSecondRatio:
      // The key's where the array has keys of two bytes.
      if ((bytes[static_cast<size_t>(form_.second_flags)] & kNoSecondRatio) != 0 ||
          entry.key_count == form_.key.count || !IsValid(form_, bytes)) {
        return {};
      }
      break;
    // What else a cache module tells counts whether it is valid or not.
    case Role::kCacheRatio1:
    case Role::kCacheMaximum1:
      if (!IsValid(form_, bytes)) return {};
      break;
    default:
      break;
  }
  switch (field.unit()) {
    case FieldUnit::kPercent:
      return Load16(bytes.data() + field.at) / kRatioPerPercent;
    case FieldUnit::kSet:
      return bytes[field.at] != 0;
    case FieldUnit::kBit:
      return (bytes[field.at] & field.detail) != 0;
    default:
      if (field.width() == 1) return uint64_t{bytes[field.at]};
      if (field.width() == 2) return uint64_t{Load16(bytes.data() + field.at)};
      return WordOf(bytes, field.at);
  }
}

EntryFields::Figure EntryFields::RatioExtreme(const Step& step, const Entry& entry) const {
  // An idle entry has no words; it was as busy as its ratio says, which is next to nothing.
  if (IsCompact(form_, entry.bytes)) return FieldFigure(step.field, entry);
  const Figure word = WordAt(entry, step.position);
  if (!std::holds_alternative<uint64_t>(word) || !IsValid(form_, entry.bytes)) return {};
  return static_cast<double>(std::get<uint64_t>(word)) / kRatioPerPercent;
}

EntryFields::Figure EntryFields::GroupFigure(const Step& step, const Entry& entry) const {
  const Bytes& bytes = entry.bytes;
  if (!step.always && !IsValid(form_, bytes)) return {};
  // Compact entries did nothing, not-valid ones nothing that is known.
  const bool stored = bytes.size() >= form_.size;
  const size_t at = step.field.at;
  const auto word = [&](size_t i) -> Figure {
    return stored ? Figure(WordOf(bytes, at + 4 * i)) : Figure();
  };
  switch (step.content) {
    case Content::kFirstMean:
      return word(1);
    case Content::kMaximum:
      return word(2);
    case Content::kSecondMean:
      return word(3);
    default:
      break;
  }
  const double count = stored ? DecodeCountWord(Load32(bytes.data() + at)) : 0.0;
  if (step.content == Content::kOps) return count;
  if (item_ != nullptr) {
    const auto interval = static_cast<double>(WordOf(entry.item, kAtInterval));
    return interval > 0 ? Figure(count * kMilli / interval) : Figure();
  }
  const double seconds = SecondsOf(bytes);
  if (!(seconds > 0)) return {};
  if (step.content == Content::kOpsRate) return count / seconds;
  const double volume = stored ? static_cast<double>(WordOf(bytes, at + 12)) * count : 0.0;
  return volume / seconds / kVolumeUnit;
}

EntryFields::Figure EntryFields::ExtremeFigure(const Step& step, const Entry& entry) const {
  if (!IsValid(form_, entry.bytes)) return {};
  const size_t number = step.position % 4;
  // An idle entry has no words. Its rates were 0 all the time.
  const bool rate = number < 2 || rule_ == QuadRule::kCurrent;
  if (rate && IsCompact(form_, entry.bytes)) {
    return SecondsOf(entry.bytes) > 0 ? Figure(0.0) : Figure();
  }
  const Figure word = WordAt(entry, step.position);
  if (!std::holds_alternative<uint64_t>(word)) return {};
  return number < 2 ? Figure(static_cast<double>(std::get<uint64_t>(word)) / kMilli) : word;
}

}  // namespace psltool
