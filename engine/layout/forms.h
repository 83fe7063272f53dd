// Sections and entry forms of statistics records.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "areas/kinds.h"
#include "engine/layout/fields.h"
#include "engine/layout/lists.h"
#include "engine/layout/revisions.h"

struct FlagBit {
  int8_t at = kNone;  // byte of the entry, kNone: no such flag
  uint8_t bit = 0;
};

struct KeyBytes {
  uint8_t count = 0;
  std::array<uint8_t, 3> at = {};  // bytes of the entry, in the order of the table's key
  bool number = false;             // two bytes that form one u16
};

// What single forms do otherwise than all others.
enum FormTrait : uint8_t {
  kTracksAbsentRatio = 1,  // extremes follow the ratio even where its flag is clear
  kIdleThoughBusy = 2,     // the busy sum does not keep an entry from being idle
  kNeverIdle = 4,          // idle entries are written in full all the same
};

// One entry form. Every form starts with the u32 status word and the u32 interval length; bytes
// that no field names are 0 on output.
struct FormRow {
  const char* name;  // as in the converter's name, ntoh_<name>
  uint16_t size;     // full entry
  uint16_t head;     // what a compact entry keeps of it
  uint8_t tracked;   // so many of the counter groups, the first ones, have extremes
  Field fields[11];  // in the order in which a dump shows them
  uint8_t traits = 0;
  // Files of older revisions hold the form ("LDM" flush of 0x10) without ratio, flags and carried
  // words: whatever stands there does not count.
  uint8_t filled_from = 0;
};

// clang-format off
enum FormId : uint8_t {
  kHdSta_0x19, kRdSta_0x1A, kDdSta_0x1A, kHpSta_0x11, kHpSta_0x12, kHpSta_0x1A, kHpNodeSta_0x1A,
  kRpSta_0x14, kMpSta_0x1D, kDpSta_0x10, kCacheSta_0x19, kCacheSta_0x1F, kCacheSta_0x21,
  kChesegSta_0x13, kLdSta_0x10, kLdSta, kPdSta_0x10, kPdSta, kRankSta_0x11, kRankSta_0x12,
  kPoolSta_0x14, kFormCount,
};
// clang-format on

namespace form_rows {
using enum Role;
// The cache section has rules of its own (revisions/fold/cache.cc). Entries with a compact byte are
// written compact when idle.
// clang-format off
inline constexpr FormRow kRows[kFormCount] = {
//   name            size head tracked fields
    {"HdSta_0x19",     32, 32, 0, {{8, kKey}, {9, kNotValid}, {14, kRatio}, {16, kCarried}, {20, kCarried}}},
    {"RdSta_0x1A",     32, 32, 0, {{8, kKey}, {9, kNotValid}, {14, kRatio}, {16, kCarried}, {20, kCarried}}},
    {"DdSta_0x1A",     32, 32, 0, {{8, kKey}, {9, kNotValid}, {14, kRatio}}},
    {"HpSta_0x11",     64, 16, 2, {{8, kKey}, {9, kKey}, {11, kNotValid}, {16, kGroups, 3}}},
    {"HpSta_0x12",    112, 16, 5, {{8, kKey}, {9, kKey}, {11, kNotValid}, {14, kRatio}, {10, kRatioFlag, 0x02}, {10, kCounted, 0x01}, {16, kGroups, 6}}},
    {"HpSta_0x1A",    112, 16, 5, {{8, kKey}, {9, kKey}, {11, kNotValid}, {14, kRatio}, {10, kRatioFlag, 0x02}, {10, kCounted, 0x01}, {16, kGroups, 6}}},
    {"HpNodeSta_0x1A",112, 16, 5, {{8, kKey}, {9, kKey}, {13, kKey}, {11, kNotValid}, {14, kRatio}, {10, kRatioFlag, 0x02}, {10, kCounted, 0x01}, {16, kGroups, 6}}},
    {"RpSta_0x14",    112, 16, 6, {{8, kKey}, {9, kKey}, {11, kNotValid}, {10, kCompact}, {14, kRatio}, {12, kRatioFlag, 0x01}, {16, kGroups, 6}}},
    {"MpSta_0x1D",     48, 16, 2, {{8, kKey}, {9, kKey}, {11, kNotValid}, {10, kCompact}, {14, kRatio}, {16, kGroups, 2}}},
    {"DpSta_0x10",     48, 16, 2, {{8, kKey}, {9, kKey}, {11, kNotValid}, {14, kRatio}, {16, kGroups, 2}}},
    {"CacheSta_0x19",  32, 32, 0, {{8, kKey}, {9, kNotValid}, {16, kCacheRatio1}, {18, kCacheMaximum1}}},
    {"CacheSta_0x1F",  96, 96, 0, {{8, kKey}, {9, kNotValid}, {16, kCacheRatio1}, {18, kCacheMaximum1}, {32, kGroups, 4}}},
    {"CacheSta_0x21", 128,128, 0, {{8, kKey}, {9, kNotValid}, {16, kCacheRatio1}, {18, kCacheMaximum1}, {20, kCacheRatio2}, {22, kCacheMaximum2},
                                   {24, kCacheRate1}, {28, kCacheRate2}, {10, kCacheFlags}, {32, kGroups, 4}, {96, kPositionedGroups, 2}}},
    {"ChesegSta_0x13", 96, 16, 5, {{8, kKey}, {12, kKey}, {10, kNotValid}, {9, kCompact}, {14, kRatio}, {12, kSecondRatio}, {11, kSecondFlags}, {16, kGroups, 5}}, kIdleThoughBusy},
    {"LdSta_0x10",     96, 16, 5, {{8, kKeyNumber}, {11, kNotValid}, {10, kCompact}, {16, kGroups, 5}}},
    {"LdSta",          96, 16, 5, {{8, kKeyNumber}, {11, kNotValid}, {10, kCompact}, {14, kRatio}, {13, kRatioFlag, 0x01}, {13, kSticky, 0x02}, {13, kKept, 0x04, 0x1F},
                                   {16, kGroups, 5}}, kTracksAbsentRatio, 0x11},
    {"PdSta_0x10",     48, 16, 2, {{8, kKey}, {9, kKey}, {11, kNotValid}, {10, kCompact}, {16, kGroups, 2}}},
    {"PdSta",          64, 32, 2, {{8, kKey}, {9, kKey}, {11, kNotValid}, {10, kCompact}, {20, kRatio}, {16, kCarried}, {32, kGroups, 2}}, 0, 0x11},
    {"RankSta_0x11",   32, 32, 0, {{8, kKey}, {9, kKey}, {11, kNotValid}, {10, kCompact}, {20, kRatio}, {16, kCarried}}},
    {"RankSta_0x12",   64, 32, 2, {{8, kKey}, {9, kKey}, {11, kNotValid}, {10, kCompact}, {20, kRatio}, {16, kCarried}, {32, kGroups, 2}}},
    {"PoolSta_0x14",   64, 32, 2, {{8, kKeyNumber}, {11, kNotValid}, {10, kCompact}, {16, kRatio}, {18, kMark, 0x01, 0x1F}, {12, kCarried}, {32, kGroups, 2}}, kNeverIdle},
};
// clang-format on
}  // namespace form_rows

inline constexpr Field kCommonFields[] = {{kAtStatus, Role::kStatus},
                                          {kAtInterval, Role::kInterval}};

// A form as loops and templates take it: its row, and the places of the row's fields by role.
struct Form {
  const char* name = "";
  uint16_t size = 0;
  uint16_t head = 0;
  uint8_t tracked = 0;
  uint8_t filled_from = 0;
  KeyBytes key;
  int8_t compact = kNone;
  int8_t not_valid = kNone;
  int8_t ratio = kNone;
  FlagBit ratio_flag;
  FlagBit counted;
  FlagBit sticky;
  FlagBit kept;
  uint8_t kept_from = 0;
  bool kept_always = false;
  uint8_t quadsets = 0;     // number
  uint8_t quadsets_at = 0;  // first one; they follow each other
  std::array<int8_t, 2> carried = {kNone, kNone};
  int8_t second_ratio = kNone;
  int8_t second_flags = kNone;
  bool ratio_extremes_always = false;
  bool idle_by_busy = true;
  bool idles = false;
  std::array<uint8_t, 4> more16 = {};  // of cache modules, 0 = none
  std::array<uint8_t, 2> more32 = {};
  std::array<uint8_t, 2> more_quadsets = {};
  Field fields[std::size(kCommonFields) + std::size(FormRow{}.fields)] = {};

  constexpr std::span<const Field> Fields() const { return FieldsOfList(fields); }
};

constexpr Form MakeForm(const FormRow& row) {
  Form form;
  form.name = row.name;
  form.size = row.size;
  form.head = row.head;
  form.tracked = row.tracked;
  form.filled_from = row.filled_from;
  size_t count = 0;
  for (const Field& field : kCommonFields) form.fields[count++] = field;
  for (const Field& field : FieldsOfList(row.fields)) {
    form.fields[count++] = field;
    for (size_t i = 0; field.IsKey() && i < field.width(); ++i) {
      form.key.at[form.key.count++] = static_cast<uint8_t>(field.at + i);
    }
    if (field.role == Role::kKeyNumber) form.key.number = true;
  }
  const auto place = [&form](Role role, size_t number = 0) {
    const Field* field = FindField(form.Fields(), role, number);
    return field == nullptr ? kNone : static_cast<int8_t>(field->at);
  };
  const auto flag = [&form](Role role) {
    const Field* field = FindField(form.Fields(), role);
    return field == nullptr ? FlagBit() : FlagBit{static_cast<int8_t>(field->at), field->detail};
  };
  form.compact = place(Role::kCompact);
  form.not_valid = place(Role::kNotValid);
  form.ratio = place(Role::kRatio);
  form.ratio_flag = flag(Role::kRatioFlag);
  form.second_ratio = place(Role::kSecondRatio);
  form.second_flags = place(Role::kSecondFlags);
  form.counted = flag(Role::kCounted);
  form.sticky = flag(Role::kSticky);
  form.carried = {place(Role::kCarried), place(Role::kCarried, 1)};
  form.kept_always = place(Role::kMark) != kNone;
  const Role kept = form.kept_always ? Role::kMark : Role::kKept;
  form.kept = flag(kept);
  if (form.kept.at != kNone) form.kept_from = FindField(form.Fields(), kept)->from;
  if (const Field* groups = FindField(form.Fields(), Role::kGroups)) {
    form.quadsets = groups->detail;
    form.quadsets_at = groups->at;
  }
  // Of cache modules, 0 for none.
  const auto more = [&form](Role role, size_t behind = 0) {
    const Field* field = FindField(form.Fields(), role);
    return static_cast<uint8_t>(field == nullptr ? 0 : field->at + behind);
  };
  form.more16 = {more(Role::kCacheRatio1), more(Role::kCacheMaximum1), more(Role::kCacheRatio2),
                 more(Role::kCacheMaximum2)};
  form.more32 = {more(Role::kCacheRate1), more(Role::kCacheRate2)};
  form.more_quadsets = {more(Role::kPositionedGroups), more(Role::kPositionedGroups, kQuadsetSize)};
  form.ratio_extremes_always = (row.traits & kTracksAbsentRatio) != 0;
  form.idle_by_busy = (row.traits & kIdleThoughBusy) == 0;
  form.idles = form.compact != kNone && (row.traits & kNeverIdle) == 0;
  return form;
}

// Whether files of a revision hold the field.
constexpr bool HoldsField(const Form& form, const Field& field, uint8_t revision) {
  const bool ever = field.IsKey() || field.role == Role::kStatus || field.role == Role::kInterval ||
                    field.unit() == FieldUnit::kSet || field.unit() == FieldUnit::kQuadset;
  return revision >= field.from && (ever || revision >= form.filled_from);
}

constexpr std::array<Form, kFormCount> MakeForms() {
  std::array<Form, kFormCount> forms;
  for (size_t i = 0; i < kFormCount; ++i) forms[i] = MakeForm(form_rows::kRows[i]);
  return forms;
}
inline constexpr std::array<Form, kFormCount> kForms = MakeForms();

struct SectionRow {
  Kind kind;
  uint8_t header_at;  // offset of the section header in the record's head
  FormId form;
  Span span;
  Included included = Included::kAlways;
};

// In file order, which is the same for all revisions; optional items follow.
// clang-format off
inline constexpr SectionRow kSectionRows[] = {
    {kHd,      24, kHdSta_0x19,     {0x19, kOn}},
    {kRd,      32, kRdSta_0x1A,     {0x1A, kOn}},
    {kDd,      40, kDdSta_0x1A,     {0x1A, kOn}},
    {kHp,      24, kHpSta_0x11,     {0x10, 0x11}},
    {kHp,      24, kHpSta_0x12,     {0x12, 0x18}},
    {kHp,      48, kHpSta_0x1A,     {0x19, kOn}},
    {kHpNode, 128, kHpNodeSta_0x1A, {0x1A, kOn}},
    {kRp,      32, kRpSta_0x14,     {0x14, 0x18}},
    {kRp,      56, kRpSta_0x14,     {0x19, kOn}},
    {kMp,     136, kMpSta_0x1D,     {0x1D, kOn}},
    {kDp,      32, kDpSta_0x10,     {0x10, 0x13}},
    {kDp,      40, kDpSta_0x10,     {0x14, 0x18}},
    {kDp,      64, kDpSta_0x10,     {0x19, kOn}},
    {kCache,   72, kCacheSta_0x19,  {0x19, 0x1E}},
    {kCache,   72, kCacheSta_0x1F,  {0x1F, 0x20}},
    {kCache,   72, kCacheSta_0x21,  {0x21, kOn}},
    {kCheseg,  40, kChesegSta_0x13, {0x13, 0x13}},
    {kCheseg,  48, kChesegSta_0x13, {0x14, 0x18}},
    {kCheseg,  80, kChesegSta_0x13, {0x19, kOn}},
    {kLd,      40, kLdSta_0x10,     {0x10, 0x10}},
    {kLd,      40, kLdSta,          {0x11, 0x12}},
    {kLd,      48, kLdSta,          {0x13, 0x13}},
    {kLd,      56, kLdSta,          {0x14, 0x18}},
    {kLd,      88, kLdSta,          {0x19, kOn}},
    {kPd,      48, kPdSta_0x10,     {0x10, 0x10}},
    {kPd,      48, kPdSta,          {0x11, 0x12}},
    {kPd,      56, kPdSta,          {0x13, 0x13}},
    {kPd,      64, kPdSta,          {0x14, 0x18}},
    {kPd,      96, kPdSta,          {0x19, kOn}},
    {kRank,    56, kRankSta_0x11,   {0x11, 0x11}},
    {kRank,    56, kRankSta_0x12,   {0x12, 0x12}},
    {kRank,    64, kRankSta_0x12,   {0x13, 0x13}},
    {kRank,    72, kRankSta_0x12,   {0x14, 0x18}},
    {kRank,   112, kRankSta_0x12,   {0x19, kOn}, Included::kWhenRanks},
    {kPool,    80, kPoolSta_0x14,   {0x14, 0x18}},
    {kPool,   120, kPoolSta_0x14,   {0x19, kOn}, Included::kWhenPools},
};
// clang-format on
