// Entries of archives: see the header. Each rule follows from how a slot becomes an entry; where
// the collector's own extended words or maxima go in unchecked, only a note is made.
#include "tools/checking/check_entry.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/reading/entry_fields.h"

namespace psltool {

namespace {

constexpr uint32_t kUnitsOf256 = 0x80000000;     // in a count
constexpr uint32_t kLeastLargeCount = 0x800000;  // above 2147483647 divided by 256
constexpr uint8_t kNoSecondRatio = 0x80;         // in the flags byte of cache segments
constexpr uint16_t kWhole = 10000;               // a ratio of 100 %
constexpr double kMilli = 1000.0;

// The bits of an entry that no field has.
std::vector<uint8_t> UnusedBits(const Form& form, uint8_t revision, size_t key_count) {
  std::vector<uint8_t> unused(form.size, 0xFF);
  size_t keys = 0;
  for (const Field& field : form.Fields()) {
    if (field.role == Role::kKey && keys++ >= key_count) continue;
    if (!HoldsField(form, field, revision)) continue;
    if (field.unit() == FieldUnit::kSet) {
      unused[field.at] &= 0xFE;
    } else if (field.unit() == FieldUnit::kBit) {
      unused[field.at] &= static_cast<uint8_t>(~field.detail);
    } else {
      std::fill_n(unused.begin() + field.at, field.width(), uint8_t{0});
    }
  }
  return unused;
}

double Rate(double operations, uint32_t time) { return (operations * kMilli / time) * kMilli; }

}  // namespace

struct EntryJudge::Entry {
  uint32_t index;
  uint64_t at;  // in the record
  std::span<const uint8_t> bytes;
  std::span<const uint8_t> words;
  uint32_t time;
  bool compact;

  uint8_t Byte(int offset) const { return bytes[static_cast<size_t>(offset)]; }
  uint16_t Half(int offset) const { return Load16(bytes.data() + offset); }
  uint32_t Word(size_t offset) const { return Load32(bytes.data() + offset); }
  uint32_t Extended(size_t number) const { return Load32(words.data() + 4 * number); }
};

EntryJudge::EntryJudge(const EntrySection& section, RecordReport& report)
    : section_(section),
      form_(kForms[section.row.form]),
      report_(report),
      has_ratio_(form_.ratio != kNone && section.header.revision >= form_.filled_from),
      words_(static_cast<size_t>(std::popcount(section.header.masks[section.row.kind]))),
      unused_(UnusedBits(form_, section.header.revision, section.key_count)) {}

bool EntryJudge::Damaged(const Entry& e, const char* code, uint64_t at, const char* field,
                         std::string text) {
  return report_.Error(code, e.at + at,
                       fmt::format("{}, entry {}, {}", section_.name, e.index, field),
                       std::move(text));
}

void EntryJudge::Note(const Entry& e, const char* code, uint64_t at, const char* field,
                      std::string text) {
  report_.Note(code, e.at + at, fmt::format("{}, entry {}, {}", section_.name, e.index, field),
               std::move(text));
}

bool EntryJudge::JudgeUnused(const Entry& e) {
  for (size_t i = 0; i < e.bytes.size(); ++i) {
    if ((e.bytes[i] & unused_[i]) == 0) continue;
    return Damaged(e, "unused-bytes", i, "unused byte",
                   fmt::format("{:02x}, but the archiver writes no such bits", e.bytes[i]));
  }
  if (form_.second_ratio == kNone) return true;
  // The byte beside the second key is carried only where the flags say that both bytes are none.
  const bool keyed = section_.key_count == form_.key.count;
  const bool carried = (e.Byte(form_.second_flags) & kNoSecondRatio) != 0;
  if (!keyed || carried || e.Byte(form_.second_ratio + 1) == 0) return true;
  return Damaged(e, "unused-bytes", static_cast<uint64_t>(form_.second_ratio) + 1, "unused byte",
                 "not 0 beside the second key byte");
}

bool EntryJudge::JudgeHead(const Entry& e) {
  const bool valid = e.Byte(form_.not_valid) == 0;
  if (valid != (e.time != 0)) {
    return Damaged(
        e, "valid-length", static_cast<uint64_t>(form_.not_valid), "not-valid",
        fmt::format("{} with an interval of {} ms", valid ? "valid" : "not valid", e.time));
  }
  if (e.compact && !form_.idles) {
    return Damaged(e, "compact-kind", static_cast<uint64_t>(form_.compact), "compact",
                   "archives hold only full entries of this kind");
  }
  if (has_ratio_ && e.time == 0 && e.Half(form_.ratio) != 0) {
    return Damaged(e, "valid-length", static_cast<uint64_t>(form_.ratio), "ratio",
                   "not 0 in an entry without time");
  }
  return true;
}

// Ratios and maxima of cache modules from 0x21 on end at 100 %.
bool EntryJudge::JudgeCache(const Entry& e) {
  for (const size_t i : {size_t{2}, size_t{3}}) {
    const uint8_t at = form_.more16[i];
    if (at == 0 || e.Half(at) <= kWhole) continue;
    return Damaged(e, "ratio-bound", at, i == 2 ? "second ratio" : "second maximum",
                   fmt::format("{} is over 100 %, where the archiver cuts it", e.Half(at)));
  }
  if (e.time != 0) return true;
  for (const uint8_t at : {form_.more16[0], form_.more16[2]}) {
    if (at == 0 || e.Half(at) == 0) continue;
    return Damaged(e, "valid-length", at, "ratio", "not 0 in an entry without time");
  }
  for (const uint8_t at : form_.more32) {
    if (at == 0 || e.Word(at) == 0) continue;
    return Damaged(e, "valid-length", at, "rate", "not 0 in an entry without time");
  }
  return true;
}

bool EntryJudge::JudgeIdle(const Entry& e) {
  if (!form_.idles) return true;
  const bool busy_counts = has_ratio_ && form_.idle_by_busy;
  if (e.compact) {
    // Less than a millisecond busy: so much the ratio can be at most.
    if (!busy_counts || uint64_t{e.Half(form_.ratio)} * e.time < kWhole) return true;
    return Damaged(e, "compact-busy", static_cast<uint64_t>(form_.ratio), "ratio",
                   fmt::format("{} of {} ms in a compact entry, which did nothing",
                               e.Half(form_.ratio), e.time));
  }
  for (size_t i = 0; i < form_.quadsets; ++i) {
    if (e.Word(form_.quadsets_at + i * kQuadsetSize) != 0) return true;
  }
  if (!busy_counts) {
    return Damaged(e, "compact-idle", static_cast<uint64_t>(form_.compact), "compact",
                   "0, but an entry without operations is stored compact");
  }
  const bool rounded = e.Half(form_.ratio) == 0 && e.time <= kWhole;
  if (rounded) {
    Note(e, "compact-idle", static_cast<uint64_t>(form_.compact), "compact",
         "0, though there are neither operations nor busy time");
  }
  return true;
}

bool JudgeGroup(QuadRule rule, const uint8_t* group, uint32_t time, uint64_t at,
                const std::string& field, RecordReport& report) {
  const uint32_t count = Load32(group);
  const uint32_t first = Load32(group + 4);
  const uint32_t largest = Load32(group + 8);
  const uint32_t second = Load32(group + 12);
  if ((count & kUnitsOf256) != 0 && (count & ~kUnitsOf256) < kLeastLargeCount) {
    return report.Error(
        "count-form", at, field + ", operations",
        fmt::format("{:08X}: so small a number is not written in units of 256", count));
  }
  if (count == 0 && first != 0) {
    return report.Error("mean-of-none", at + 4, field + ", first mean",
                        fmt::format("{}, but there are no operations", first));
  }
  const bool no_weight = rule == QuadRule::kOlder ? time == 0 : count == 0;
  if (no_weight && second != 0) {
    return report.Error("mean-of-none", at + 12, field + ", second mean",
                        fmt::format("{}, but there is nothing that it is the mean of", second));
  }
  if (first > largest) {
    report.Note("mean-over-max", at + 4, field + ", first mean",
                fmt::format("{} is more than the maximum {}", first, largest));
  }
  if (count == 0 && largest != 0) {
    report.Note("max-of-none", at + 8, field + ", maximum",
                fmt::format("{}, but there are no operations", largest));
  }
  return true;
}

bool EntryJudge::JudgeGroups(const Entry& e) {
  bool sound = true;
  const auto judge = [&](size_t number, size_t at) {
    sound = JudgeGroup(section_.rule, e.bytes.data() + at, e.time, e.at + at,
                       fmt::format("{}, entry {}, group {}", section_.name, e.index, number),
                       report_) &&
            sound;
  };
  for (size_t i = 0; i < form_.quadsets; ++i) judge(i + 1, form_.quadsets_at + i * kQuadsetSize);
  for (size_t i = 0; i < form_.more_quadsets.size(); ++i) {
    if (form_.more_quadsets[i] != 0) judge(form_.quadsets + i + 1, form_.more_quadsets[i]);
  }
  return sound;
}

// A mean lies between the extremes of what it is the mean of.
void EntryJudge::NoteExtremes(const Entry& e) {
  const bool older = section_.rule == QuadRule::kOlder;
  const auto note = [&](size_t word, const char* field, double mean, const char* what) {
    Note(e, "extremes", e.bytes.size() + 4 * word, field,
         fmt::format("{} and {} do not hold the mean {:.0f} of {}", e.Extended(word),
                     e.Extended(word + 1), mean, what));
  };
  for (size_t i = 0; i < form_.tracked; ++i) {
    const uint8_t* const group = e.bytes.data() + form_.quadsets_at + i * kQuadsetSize;
    const double operations = DecodeCountWord(Load32(group));
    const double second = Load32(group + 12);
    if (e.time == 0) continue;
    const double rate = Rate(operations, e.time);
    // Stored numbers are cut: of large counts up to 255 operations, of extremes a fraction.
    const double cut = (Load32(group) & kUnitsOf256) != 0 ? Rate(256, e.time) : 0;
    if (e.Extended(4 * i) + 1.0 < rate || e.Extended(4 * i + 1) > rate + cut + 1.0) {
      note(4 * i, "largest and smallest rate", rate, "operations");
    }
    const double seconds = e.time / kMilli;
    const double least = older ? second : second * operations / seconds / 1024.0;
    const double most = older ? second + 1 : (second + 1) * operations / seconds / 1024.0;
    if (e.Extended(4 * i + 2) + 1.0 < least || e.Extended(4 * i + 3) > most + cut + 1.0) {
      note(4 * i + 2, "largest and smallest volume", least, "volumes");
    }
  }
}

void EntryJudge::NoteRatio(const Entry& e) {
  if (!has_ratio_) return;
  const uint16_t ratio = e.Half(form_.ratio);
  if (ratio > kWhole) {
    Note(e, "ratio-over", static_cast<uint64_t>(form_.ratio), "ratio",
         fmt::format("{} is over 100 %", ratio));
  }
  const size_t at = 4 * size_t{form_.tracked};
  if (e.words.empty() || words_ < at + 2 || e.time == 0) return;
  const bool present =
      form_.ratio_flag.at == kNone || (e.Byte(form_.ratio_flag.at) & form_.ratio_flag.bit) != 0;
  if (!present) return;
  // Intervals without a ratio count as time, but not for the extremes.
  const bool always = form_.ratio_flag.at == kNone;
  if (e.Extended(at) > kWhole || e.Extended(at) < ratio || (always && e.Extended(at + 1) > ratio)) {
    Note(e, "extremes", e.bytes.size() + 4 * at, "largest and smallest ratio",
         fmt::format("{} and {} do not hold the mean {}", e.Extended(at), e.Extended(at + 1),
                     ratio));
  }
}

bool EntryJudge::Judge(uint32_t index, uint64_t at, std::span<const uint8_t> entry,
                       std::span<const uint8_t> words) {
  const Entry e = {index,
                   at,
                   entry,
                   words,
                   Load32(entry.data() + kAtInterval),
                   form_.compact != kNone && entry[static_cast<size_t>(form_.compact)] != 0};
  bool sound = JudgeUnused(e) && JudgeHead(e) && JudgeIdle(e);
  if (form_.more16[0] != 0) sound = JudgeCache(e) && sound;
  NoteRatio(e);
  if (e.compact) return sound;
  sound = JudgeGroups(e) && sound;
  if (4 * size_t{form_.tracked} <= words_ && !words.empty()) NoteExtremes(e);
  return sound;
}

}  // namespace psltool
