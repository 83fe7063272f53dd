// Rules of `psltool limits`: a small text file, a rule a line.
//
//   ld busy max > 80 % for 3 hours
//   hp,rp mean > 5 ms on mon-fri between 08:00 and 18:00
//   pd key 0.* array osaka* ops p95 > 180
//
// docs/psltool/prove.md has the grammar.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/measures/measures.h"
#include "tools/reading/record_period.h"

namespace psltool {

enum class LimitStatistic : uint8_t { kMean, kMax, kMin, kMedian, kHigh };
enum class Comparing : uint8_t { kAbove, kAtLeast, kBelow, kAtMost };

struct LimitRule {
  size_t line = 0;   // of the file
  std::string text;  // the line with single blanks
  std::vector<Kind> kinds;
  std::string key;     // pattern with "*" and "?"; empty: all
  std::string array;   // likewise
  unsigned group = 0;  // 0: any
  const Measure* measure = nullptr;
  LimitStatistic statistic = LimitStatistic::kMean;
  Comparing comparing = Comparing::kAbove;
  double limit = 0;      // in the unit of the measure
  uint32_t seconds = 0;  // of how long it must last
  uint8_t days = 0x7F;   // bit 0: Monday
  int64_t from = 0;      // seconds of the day
  int64_t to = 0;        // behind the last; as `from`: all of the day

  // True for statistics of single intervals, false for those of the whole span.
  bool OfIntervals() const {
    return statistic != LimitStatistic::kMedian && statistic != LimitStatistic::kHigh;
  }
  bool IsBroken(double value) const;
  // The limit is one that values are not to pass upwards.
  bool IsUpper() const {
    return comparing == Comparing::kAbove || comparing == Comparing::kAtLeast;
  }
  bool HasKind(Kind kind) const;
  bool HasKey(const std::string& its) const;
  bool HasArray(const std::string& its) const;
  // True when the rule looks at the interval: its begin is on one of the days, and all of it lies
  // in the hours.
  bool Covers(const RecordPeriod& period, Zone zone) const;
};

const char* WordOf(LimitStatistic statistic);
const char* WordOf(Comparing comparing);

// A rule, or why the line is none; neither for lines that say nothing.
struct ReadRule {
  std::optional<LimitRule> rule;
  std::string why;
};
ReadRule ReadLimitRule(std::string_view line, const Labels& labels);

// False: the file cannot be read, has no rule, or a line of it is wrong; reported with its number.
bool ReadLimitRules(const std::string& path, const Labels& labels, std::vector<LimitRule>& rules);

}  // namespace psltool
