// What a column shows: a field of the layout's rows, something that follows from fields, or
// words as they stand in the file.
#pragma once

#include <cstdint>
#include <string_view>

#include "engine/layout/layout.h"

namespace psltool {

// clang-format off
// Of counter groups and of items' heads: content, name without the group, gathering, unit in exports.
#define PSLTOOL_CONTENTS(X) \
  X(kKey,           "key",               kKey,     "")                      \
  X(kField,         "",                  kDerived, "")                      /* what its role says */ \
  X(kFieldMax,      "busy_pct_max",      kMax,     "percent")               \
  X(kFieldMin,      "busy_pct_min",      kMin,     "percent")               \
  X(kItemFlag,      "item_flag",         kDerived, "bits")                  \
  X(kOps,           "ops",               kSum,     "operations")            \
  X(kOpsRate,       "ops_per_s",         kDerived, "operations_per_second") \
  X(kFirstMean,     "first_mean",        kMean,    "file")                  \
  X(kMaximum,       "max",               kMax,     "file")                  \
  X(kSecondMean,    "second_mean",       kMean,    "file")                  \
  X(kVolumeRate,    "kvolume_per_s",     kDerived, "1024_per_second")       \
  X(kOpsRateMax,    "ops_per_s_max",     kMax,     "operations_per_second") \
  X(kOpsRateMin,    "ops_per_s_min",     kMin,     "operations_per_second") \
  X(kVolumeRateMax, "kvolume_per_s_max", kMax,     "1024_per_second")       \
  X(kVolumeRateMin, "kvolume_per_s_min", kMin,     "1024_per_second")       \
  X(kSecondMeanMax, "second_mean_max",   kMax,     "file")                  \
  X(kSecondMeanMin, "second_mean_min",   kMin,     "file")                  \
  X(kOffset,        "offset",            kDerived, "")                      /* of the entry in the file */ \
  X(kRawRatio,      "ratio",             kDerived, "")                      \
  X(kRawWord,       "q",                 kDerived, "")                      /* of a counter group */ \
  X(kExtendedWord,  "x",                 kDerived, "")                      \
  X(kRawBytes,      "bytes",             kDerived, "")                      /* of an element */
// clang-format on

#define PSLTOOL_CONTENT(content, name, gathered, unit) content,
enum class Content : uint8_t { PSLTOOL_CONTENTS(PSLTOOL_CONTENT) };
#undef PSLTOOL_CONTENT

// By what a column is picked: a content, or a field's role.
struct ColumnSort {
  Content content = Content::kField;
  Role role = Role::kNothing;  // of fields

  // NOLINTNEXTLINE(google-explicit-constructor): either stands for itself
  constexpr ColumnSort(Content what) : content(what) {}
  // NOLINTNEXTLINE(google-explicit-constructor)
  constexpr ColumnSort(Role what) : role(what) {}
  constexpr bool operator==(const ColumnSort&) const = default;
};

struct ContentRow {
  std::string_view name;
  Gathered gathered;
  std::string_view unit;
};
#define PSLTOOL_CONTENT(content, name, gathered, unit) {name, Gathered::gathered, unit},
inline constexpr ContentRow kContentRows[] = {PSLTOOL_CONTENTS(PSLTOOL_CONTENT)};
#undef PSLTOOL_CONTENT

constexpr const ContentRow& RowOf(Content content) {
  return kContentRows[static_cast<size_t>(content)];
}

// What exports call the unit of a field.
constexpr std::string_view UnitName(FieldUnit unit) {
  switch (unit) {
    case FieldUnit::kCode:
      return "code";
    case FieldUnit::kPercent:
      return "percent";
    case FieldUnit::kMilliseconds:
      return "milliseconds";
    case FieldUnit::kSet:
    case FieldUnit::kBit:
      return "flag";
    case FieldUnit::kBits:
      return "bits";
    default:
      return "file";
  }
}

// The row of a field as one of the contents.
constexpr ContentRow RowOf(Role role) {
  const RoleRow& row = kRoleRows[static_cast<size_t>(role)];
  return {row.name, row.gathered, UnitName(row.unit)};
}

// Whether a field makes a column of its own: bytes of the key are one together, the flag of the
// ratio is part of the ratio, and counter groups make several.
constexpr bool HasColumn(Role role) {
  const FieldUnit unit = kRoleRows[static_cast<size_t>(role)].unit;
  return RowOf(role).gathered != Gathered::kKey && role != Role::kNothing &&
         role != Role::kRatioFlag && unit != FieldUnit::kQuadset;
}

// The extreme in a place of a counter group's extended words.
constexpr Content ExtremeContent(QuadRule rule, size_t number) {
  constexpr Content kCurrent[] = {Content::kOpsRateMax, Content::kOpsRateMin,
                                  Content::kVolumeRateMax, Content::kVolumeRateMin};
  constexpr Content kOlder[] = {Content::kOpsRateMax, Content::kOpsRateMin, Content::kSecondMeanMax,
                                Content::kSecondMeanMin};
  return (rule == QuadRule::kCurrent ? kCurrent : kOlder)[number];
}

}  // namespace psltool
