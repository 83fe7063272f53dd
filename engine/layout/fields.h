// The fields of statistics entries and of the elements of optional items: what each sort of field
// is called, how wide it is, what it is counted in and how a period's value follows. Which form has
// which of them, and where, stands with the forms and items. Converters, the columns of psltool,
// the names of bytes and the accumulators' places all come from these rows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "engine/layout/records.h"
#include "engine/layout/revisions.h"

// clang-format off
enum class FieldUnit : uint8_t {
  kCode,          // means something to the array alone
  kCount,         // a number, in a unit that the file does not tell
  kPercent,       // hundredths of a percent
  kMilliseconds,
  kSet,           // a byte that is 0 or not
  kBit,           // one bit of a byte
  kBits,          // a byte of bits
  kBytes,         // never turned
  kQuadset,       // four words: kGroupWordNames
};

// How the value of a period follows from those of its intervals.
enum class Gathered : uint8_t {
  kDerived,  // from other fields of the entry
  kKey,      // it is the same in all
  kSum,
  kMean,     // weighted by what the value is told of: time, operations or items
  kMax,
  kMin,
  kLast,     // of the last valid interval
  kAny,      // set where any valid interval has it
};

// What a field means to those who read or write it: role, bytes, name in `psltool dump`, unit, gathering.
#define QELPRF_ROLES(X) \
  X(kNothing,           0, "",             kBytes,        kDerived) /* no field: ends a list */ \
  X(kStatus,            4, "status",       kCode,         kLast)    \
  X(kInterval,          4, "interval_ms",  kMilliseconds, kSum)     \
  X(kKey,               1, "key",          kBytes,        kKey)     /* a byte of the key */ \
  X(kKeyNumber,         2, "key",          kCount,        kKey)     /* two of its bytes that are one number */ \
  X(kKeyBytes,          4, "key",          kBytes,        kKey)     \
  X(kNotValid,          1, "valid",        kSet,          kDerived) /* not 0: the interval does not count */ \
  X(kCompact,           1, "compact",      kSet,          kDerived) /* not 0: the entry ends behind its head */ \
  X(kRatio,             2, "busy_pct",     kPercent,      kMean)    \
  X(kRatioFlag,         1, "busy",         kBit,          kAny)     /* the ratio is there; without the flag always */ \
  X(kSecondRatio,       2, "second_pct",   kPercent,      kMean)    /* while bit 7 of kSecondFlags is clear */ \
  X(kSecondFlags,       1, "second_flags", kBits,         kLast)    \
  X(kCounted,           1, "counted",      kBit,          kAny)     /* the interval is counted */ \
  X(kSticky,            1, "sticky",       kBit,          kAny)     \
  X(kKept,              1, "mark",         kBit,          kLast)    \
  X(kMark,              1, "mark",         kBit,          kLast)    /* of the last interval, valid or not */ \
  X(kCarried,           4, "word_at_",     kCount,        kLast)    \
  X(kCacheRatio1,       2, "first_pct",    kPercent,      kMean)    \
  X(kCacheMaximum1,     2, "first_max",    kCount,        kMax)     \
  X(kCacheRatio2,       2, "second_pct",   kPercent,      kMean)    \
  X(kCacheMaximum2,     2, "second_max",   kCount,        kMax)     \
  X(kCacheRate1,        4, "first_rate",   kCount,        kMean)    \
  X(kCacheRate2,        4, "second_rate",  kCount,        kMean)    \
  X(kCacheFlags,        1, "flags",        kBits,         kAny)     \
  X(kGroups,           16, "g",            kQuadset,      kDerived) /* counter groups */ \
  X(kPositionedGroups, 16, "g",            kQuadset,      kDerived) /* of caches: the entry's position picks the slot */ \
  X(kPresent,           1, "present",      kSet,          kLast)    /* 1: the element is there */ \
  X(kValue,             4, "value",        kCount,        kMean)    /* over the items of the period */

#define QELPRF_ROLE(role, width, name, unit, gathered) role,
enum class Role : uint8_t { QELPRF_ROLES(QELPRF_ROLE) };
#undef QELPRF_ROLE

struct RoleRow {
  uint8_t width;
  const char* name;
  FieldUnit unit;
  Gathered gathered;
};
#define QELPRF_ROLE(role, width, name, unit, gathered) \
  {width, name, FieldUnit::unit, Gathered::gathered},
inline constexpr RoleRow kRoleRows[] = {QELPRF_ROLES(QELPRF_ROLE)};
#undef QELPRF_ROLE
// clang-format on

struct Field {
  uint8_t at;
  Role role;
  uint8_t detail = 0;  // of a bit its value, of counter groups their number
  uint8_t from = 0;    // of kept marks: first revision that has it

  constexpr const RoleRow& row() const { return kRoleRows[static_cast<size_t>(role)]; }
  constexpr const char* name() const { return row().name; }
  constexpr FieldUnit unit() const { return row().unit; }
  // Not reached: at run time of groups.
  constexpr size_t count() const { return unit() == FieldUnit::kQuadset ? detail : 1; }
  constexpr size_t width() const { return count() * row().width; }
  constexpr bool IsKey() const {
    return role == Role::kKey || role == Role::kKeyNumber || role == Role::kKeyBytes;
  }
};

// The fields of a list, which may end before its last place.
template <size_t kMost>
constexpr std::span<const Field> FieldsOfList(const Field (&list)[kMost]) {
  size_t count = 0;
  // Not reached: at run time of lists that fill their room.
  while (count < kMost && list[count].role != Role::kNothing) ++count;
  return {list, count};
}

// The field of a role, counted from 0 where there are several; null: none.
constexpr const Field* FindField(std::span<const Field> fields, Role role, size_t number = 0) {
  for (const Field& field : fields) {
    // Not reached: at run time of a second field.
    if (field.role == role && number-- == 0) return &field;
  }
  return nullptr;
}

// Names of a counter group's words, and of the extended words that tell a tracked group's extremes;
// the ratio's two follow those of all groups.
inline constexpr const char* kGroupWordNames[] = {"ops", "first_mean", "max", "second_mean"};
inline constexpr const char* kExtremeNames[] = {"ops_per_s_max", "ops_per_s_min",
                                                "kvolume_per_s_max", "kvolume_per_s_min"};
inline constexpr const char* kOlderExtremeNames[] = {"ops_per_s_max", "ops_per_s_min",
                                                     "second_mean_max", "second_mean_min"};
inline constexpr const char* kRatioExtremeNames[] = {"busy_pct_max", "busy_pct_min"};

constexpr const char* ExtremeName(QuadRule rule, size_t number) {
  return (rule == QuadRule::kCurrent ? kExtremeNames : kOlderExtremeNames)[number];
}
