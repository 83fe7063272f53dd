// Rules of `psltool limits`: what lines mean, and that hostile ones are refused with their number.
#include "tools/measures/limit_rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace psltool {
namespace {

using testing::HasSubstr;

LimitRule RuleOf(const std::string& line, const Labels& labels = {}) {
  const ReadRule read = ReadLimitRule(line, labels);
  EXPECT_EQ(read.why, "") << line;
  return read.rule.value_or(LimitRule());
}

std::string WhyOf(const std::string& line) {
  const ReadRule read = ReadLimitRule(line, Labels());
  EXPECT_FALSE(read.rule) << line;
  return read.why;
}

RecordPeriod Hour(uint32_t begin, uint32_t length = 3600) {
  RecordPeriod period;
  period.level = 'H';
  period.begin = begin;
  period.end = begin + length;
  period.stamp = period.end;
  return period;
}

TEST(LimitRules, ALineIsReadFromLeftToRight) {
  const LimitRule rule = RuleOf(
      "  pd,ld key 1.* array os?ka* group 2 volume max >= 2.5 MiB/s  for 90 minutes on mon-wed,sun "
      "between 22:00 and 06:30 ");
  EXPECT_EQ(rule.kinds, (std::vector<Kind>{kPd, kLd}));
  EXPECT_TRUE(rule.HasKey("1.4"));
  EXPECT_FALSE(rule.HasKey("2.1"));
  EXPECT_TRUE(rule.HasArray("osaka01"));
  EXPECT_FALSE(rule.HasArray("osxxka"));
  EXPECT_EQ(rule.group, 2U);
  EXPECT_EQ(rule.measure->name, "volume");
  EXPECT_EQ(rule.statistic, LimitStatistic::kMax);
  EXPECT_EQ(rule.limit, 2560.0);
  EXPECT_TRUE(rule.IsBroken(2560));
  EXPECT_FALSE(rule.IsBroken(2559.9));
  EXPECT_EQ(rule.seconds, 5400U);
  EXPECT_EQ(rule.days, 0b1000111);
  EXPECT_EQ(rule.from, 22 * 3600);
  EXPECT_EQ(rule.to, 6 * 3600 + 1800);
}

TEST(LimitRules, AsPeopleSayIt) {
  const LimitRule busy = RuleOf("ld busy % max > 80 for 3 hours");
  EXPECT_EQ(busy.measure->name, "busy");
  EXPECT_EQ(busy.statistic, LimitStatistic::kMax);
  EXPECT_EQ(busy.seconds, 10800U);
  EXPECT_EQ(RuleOf("ld busy > 80%").limit, 80.0);
  EXPECT_EQ(RuleOf("hp ops_rate < 1").measure->name, "ops");
  EXPECT_EQ(RuleOf("ld max max > 1e-3").limit, 0.001);
  EXPECT_FALSE(RuleOf("ld ops p95 > 1").OfIntervals());
  EXPECT_FALSE(ReadLimitRule("", Labels()).rule);
  EXPECT_FALSE(ReadLimitRule(" # a remark", Labels()).rule);
  EXPECT_EQ(ReadLimitRule(" # a remark", Labels()).why, "");
}

TEST(LimitRules, ATimeNeedsItsUnitTold) {
  EXPECT_THAT(WhyOf("hp mean time > 5 ms"), HasSubstr("files do not tell the unit of mean"));
  TempDir directory;
  directory.Write("labels", "unit first us\n");
  Labels labels;
  ASSERT_TRUE(labels.Read(directory.Path("labels")));
  EXPECT_EQ(RuleOf("hp mean time > 5 ms", labels).limit, 5000.0);
  EXPECT_EQ(RuleOf("hp max > 2 s", labels).limit, 2e6);
  EXPECT_THAT(ReadLimitRule("hp second > 5 ms", labels).why,
              HasSubstr("\"ms\" is no unit of second"));
}

TEST(LimitRules, HoursAndDays) {
  const LimitRule day = RuleOf("ld busy > 1 on mon-fri between 08:00 and 18:00");
  constexpr uint32_t kMonday = 1709510400;  // 2024-03-04 00:00 UTC
  EXPECT_TRUE(day.Covers(Hour(kMonday + 8 * 3600), Zone::kUtc));
  EXPECT_TRUE(day.Covers(Hour(kMonday + 17 * 3600), Zone::kUtc));
  EXPECT_FALSE(day.Covers(Hour(kMonday + 7 * 3600), Zone::kUtc));
  EXPECT_FALSE(day.Covers(Hour(kMonday + 18 * 3600), Zone::kUtc));
  EXPECT_FALSE(day.Covers(Hour(kMonday - 14 * 3600), Zone::kUtc));        // a Sunday
  EXPECT_FALSE(day.Covers(Hour(kMonday + 17 * 3600, 7200), Zone::kUtc));  // ends too late
  EXPECT_FALSE(day.Covers(Hour(kMonday, 86400), Zone::kUtc));
  const LimitRule night = RuleOf("ld busy > 1 between 22:00 and 06:00");
  EXPECT_TRUE(night.Covers(Hour(kMonday + 23 * 3600), Zone::kUtc));
  EXPECT_TRUE(night.Covers(Hour(kMonday + 5 * 3600), Zone::kUtc));
  EXPECT_FALSE(night.Covers(Hour(kMonday + 6 * 3600), Zone::kUtc));
  EXPECT_FALSE(night.Covers(Hour(kMonday + 21 * 3600), Zone::kUtc));
}

TEST(LimitRules, BadLinesAreRefused) {
  const struct {
    const char* line;
    const char* why;
  } kBad[] = {
      {"disk busy > 1", "\"disk\" is no kind of resources"},
      {"ld,, busy > 1", "\"\" is no kind of resources"},
      {"ld", "\"\" is no measure"},
      {"ld busyness > 1", "\"busyness\" is no measure"},
      {"hd ops > 1", "hd has no ops"},
      {"ld group 6 ops > 1", "\"6\" is no counter group of ld, which has 5"},
      {"ld group 0 ops > 1", "\"0\" is no counter group"},
      {"ld group 1.5 ops > 1", "\"1.5\" is no counter group"},
      {"ld group -1 ops > 1", "\"-1\" is no counter group"},
      {"ld group 1 busy > 1", "busy is no measure of a counter group"},
      {"ld key", "nothing stands behind \"key\""},
      {"ld busy", "the limit is missing"},
      {"ld busy = 1", "\"=\" stands where >, >=, < or <= must"},
      {"ld busy average > 1", "\"average\" stands where"},
      {"ld busy >", "\"\" is no number of 0 or more"},
      {"ld busy > -1", "\"-1\" is no number"},
      {"ld busy > nan", "\"nan\" is no number"},
      {"ld busy > 1e999", "\"1e999\" is no number"},
      {"ld volume > 1e308 GiB/s", "the limit is too large"},
      {"ld busy > 0x10", "\"x10\" is no unit of busy"},
      {"ld busy > 1 MiB/s", "\"MiB/s\" is no unit of busy, which has %"},
      {"ld busy > 1 % % ", "\"%\" is not understood"},
      {"ld busy > 1 for", "\"\" is no length of time"},
      {"ld busy > 1 for 3 weeks", "\"weeks\" is no unit of time"},
      {"ld busy > 1 for 999999999 days", "more than a year"},
      {"ld busy p95 > 1 for 3 hours", "p95 is one of the whole span"},
      {"ld busy > 1 on", "\"\" is no day like mon"},
      {"ld busy > 1 on monday", "\"monday\" is no day like mon"},
      {"ld busy > 1 on mon-tue-wed", "\"mon-tue-wed\" is no day"},
      {"ld busy > 1 between 8 and 18:00", "\"8\" is no time of day"},
      {"ld busy > 1 between 08:00", "needs two times of day"},
      {"ld busy > 1 between 08:00 and 25:00", "\"25:00\" is no time of day"},
      {"ld busy > 1 between 08:60 and 09:00", "\"08:60\" is no time of day"},
      {"ld busy > 1 between .8:00 and 09:00", "\".8:00\" is no time of day"},
      {"ld busy > 1 between 08:00 and 08:00", "the hours begin when they end"},
      {"ld busy > 1\x01", "a character that rules do not have"},
      {"ld busy > 1 \xC3\xA9", "a character that rules do not have"},
  };
  for (const auto& [line, why] : kBad) EXPECT_THAT(WhyOf(line), HasSubstr(why)) << line;
  EXPECT_THAT(WhyOf(std::string(5000, 'x')), HasSubstr("more than 1000 bytes"));
  EXPECT_THAT(WhyOf(std::string("ld busy > 1 \0 x", 15)), HasSubstr("a character"));
}

TEST(PsltoolLimits, ABadLineEndsTheCommandWithItsNumber) {
  TempDir directory;
  directory.Write("rules", "# first\nld busy > 80\n\nld busy >> 80\n");
  directory.Write("empty", "# nothing\n");
  directory.Write("x.psl", "not a log");
  const auto run = [&](const std::string& rules) {
    return RunProgram(PSLTOOL_PATH,
                      {"limits", "--rules", directory.Path(rules), directory.Path("x.psl")});
  };
  const ProgramResult bad = run("rules");
  EXPECT_EQ(bad.status, 2);
  EXPECT_THAT(bad.err, HasSubstr("rules:4: \">>\" stands where"));
  EXPECT_EQ(bad.out, "");
  EXPECT_EQ(run("empty").status, 2);
  EXPECT_THAT(run("empty").err, HasSubstr("holds no rule"));
  EXPECT_EQ(run("none").status, 2);
  EXPECT_THAT(run("none").err, HasSubstr("none: cannot be read: No such file or directory\n"));
  EXPECT_EQ(run(".").status, 2);
}

TEST(PsltoolLimits, ShippedRulesAreRules) {
  std::vector<LimitRule> rules;
  ASSERT_TRUE(ReadLimitRules(std::string(TEST_SOURCE_DIR) + "/../packaging/psltool-limits.rules",
                             Labels(), rules));
  EXPECT_GE(rules.size(), 6U);
}

}  // namespace
}  // namespace psltool
