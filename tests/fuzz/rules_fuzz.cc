// Rules of `psltool limits`: what is read of a line is what a reader of the file sees in it.
#include <cmath>
#include <cstdlib>

#include "tests/fuzz/target.h"
#include "tests/support/scratch.h"
#include "tools/measures/limit_rules.h"

namespace fuzz {

namespace {

using psltool::Labels;
using psltool::LimitRule;
using psltool::ReadLimitRule;

const Labels& LabelsOf(uint8_t choice) {
  static const Labels none;
  static const Labels with_unit = [] {
    constexpr std::string_view kUnit = "unit first us\n";
    Labels labels;
    const Input bytes(reinterpret_cast<const uint8_t*>(kUnit.data()), kUnit.size());
    if (!labels.Read(Scratch::Write("unit", bytes))) std::abort();
    return labels;
  }();
  return choice % 2 == 0 ? none : with_unit;
}

bool SameRule(const LimitRule& one, const LimitRule& other) {
  return one.text == other.text && one.kinds == other.kinds && one.key == other.key &&
         one.array == other.array && one.group == other.group && one.measure == other.measure &&
         one.statistic == other.statistic && one.comparing == other.comparing &&
         one.limit == other.limit && one.seconds == other.seconds && one.days == other.days &&
         one.from == other.from && one.to == other.to;
}

std::string Sense(const LimitRule& rule) {
  constexpr int64_t kDay = 86400;
  if (rule.kinds.empty() || rule.measure == nullptr) return "a rule of nothing";
  if (!std::isfinite(rule.limit) || rule.limit < 0) return "a limit that is no number";
  if (rule.days == 0 || rule.days > 0x7F) return "no day";
  if (rule.from < 0 || rule.from > kDay || rule.to < 0 || rule.to > kDay) return "no time of day";
  // A value is on one side of the limit or on the other.
  for (const double value : {0.0, rule.limit, rule.limit + 1}) {
    const bool more = value > rule.limit;
    const bool equal = value == rule.limit;
    const bool at_limit = rule.comparing == psltool::Comparing::kAtLeast ||
                          rule.comparing == psltool::Comparing::kAtMost;
    const bool expected = equal ? at_limit : more == rule.IsUpper();
    if (rule.IsBroken(value) != expected) return "the limit is compared the other way";
  }
  rule.HasKey("1.2");
  rule.HasArray("array01");
  psltool::RecordPeriod period;
  period.end = 3600;
  rule.Covers(period, psltool::Zone::kUtc);
  return "";
}

std::string Line(const std::string& line, const Labels& labels) {
  if (line.find_first_not_of(" \t\r") == std::string::npos) return "";
  const psltool::ReadRule read = ReadLimitRule(line, labels);
  if (!read.rule) return "";
  std::string wrong = Sense(*read.rule);
  if (!wrong.empty()) return wrong;
  const psltool::ReadRule again = ReadLimitRule(read.rule->text, labels);
  if (!again.rule) return "the text of a rule is refused: " + again.why;
  return SameRule(*read.rule, *again.rule) ? "" : "the text of a rule is another rule";
}

}  // namespace

std::string Rules(Input input) {
  Taker taker(input);
  const uint8_t choice = taker.Byte();
  const Labels& labels = LabelsOf(choice);
  const std::string text = TextOf(taker.rest());
  const std::string line = text.substr(0, text.find('\n'));
  const std::string wrong = Line(line, labels);
  // A file costs more than a line, and adds what lies between lines.
  if (!wrong.empty() || choice < 128) return wrong;
  std::vector<LimitRule> rules;
  const bool read = psltool::ReadLimitRules(Scratch::Write("rules", taker.rest()), labels, rules);
  return read && rules.empty() ? "a file without rules is read" : "";
}

}  // namespace fuzz
