// `psltool limits` against the second calculation: breaches of random rules over files of every
// revision and level, and that a mix of levels tells what the logs alone tell.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>
#include <vector>

#include "tests/figures/compare.h"
#include "tests/figures/figure_files.h"
#include "tests/figures/spans.h"
#include "tests/model/random_source.h"
#include "tests/model/time_zone.h"
#include "tests/support/revision_param.h"

namespace {

using figures::Clock;
using figures::Interval;
using figures::Json;
using figures::SeriesMap;

SeriesMap SeriesOf(const std::string& path) {
  const std::string text = TempDir::ReadFile(path);
  const figures::File file = figures::ReadFile(model::Bytes(text.begin(), text.end()));
  SeriesMap series;
  figures::AddSeries("array", file, figures::PeriodsOf(file, Clock::kLocal), series);
  return series;
}

struct Rule {
  std::string kind;
  std::string measure;
  std::string statistic;
  int group = 0;  // 0: any
  bool upper = true;
  bool equal = false;
  double limit = 0;
  int64_t seconds = 0;

  std::string Text() const {
    char number[64];
    std::snprintf(number, sizeof number, "%.17g", limit);
    std::string text = kind;
    if (group != 0) text += " group " + std::to_string(group);
    text += " " + measure + " " + statistic + (upper ? " >" : " <") + (equal ? "= " : " ") + number;
    if (seconds != 0) text += " for " + std::to_string(seconds / 60) + " minutes";
    return text;
  }
  bool Breaks(double value) const {
    if (equal && value == limit) return true;
    return upper ? value > limit : value < limit;
  }
};

struct Run {
  int64_t begin = 0;
  int64_t end = 0;
  size_t intervals = 0;
  double worst = 0;
};

int64_t BeginOf(const Interval& interval, char level) {
  if (level != 'L') return interval.period.begin;
  const int64_t by_length = int64_t{interval.period.stamp} - (interval.length + 999) / 1000;
  return std::min(interval.period.begin, std::max<int64_t>(by_length, 0));
}

// Walks a series and puts down every stretch of intervals that pass the limit.
std::vector<Run> RunsOf(const Rule& rule, const std::vector<Interval>& intervals, char level) {
  std::vector<Run> runs;
  bool open = false;
  int64_t shortest = 0;
  for (const Interval& interval : intervals) {
    const double value = rule.statistic == "max"   ? interval.most
                         : rule.statistic == "min" ? interval.least
                                                   : interval.value;
    if (!rule.Breaks(value)) {
      open = false;
      continue;
    }
    const int64_t begin = BeginOf(interval, level);
    const int64_t length = interval.period.end - begin;
    if (open && (begin - runs.back().end) * 2 > std::min(shortest, length)) open = false;
    if (!open) {
      runs.push_back({begin, interval.period.end, 1, value});
      shortest = length;
      open = true;
      continue;
    }
    Run& run = runs.back();
    run.end = std::max(run.end, interval.period.end);
    ++run.intervals;
    run.worst = rule.upper ? std::max(run.worst, value) : std::min(run.worst, value);
    shortest = std::min(shortest, length);
  }
  std::erase_if(runs, [&](const Run& run) { return run.end - run.begin < rule.seconds; });
  return runs;
}

// "kind key group begin intervals" to the worst value.
using Breaches = std::map<std::string, double>;

Breaches ExpectedBreaches(const Rule& rule, const SeriesMap& series, char level) {
  Breaches breaches;
  for (const auto& [name, intervals] : series) {
    const auto& [array, kind, key, measure, group] = name;
    if (kind != rule.kind || measure != rule.measure) continue;
    if (rule.group != 0 && group != rule.group) continue;
    const std::string place = kind + " " + key + " " + std::to_string(group) + " ";
    if (rule.statistic == "median" || rule.statistic == "p95") {
      const auto value = figures::PercentileOf(intervals, rule.statistic == "median" ? 50 : 95);
      if (value && rule.Breaks(*value)) breaches[place + "whole"] = *value;
      continue;
    }
    for (const Run& run : RunsOf(rule, intervals, level)) {
      breaches[place + std::to_string(run.begin) + " " + std::to_string(run.end - run.begin) + " " +
               std::to_string(run.intervals)] = run.worst;
    }
  }
  return breaches;
}

Breaches Printed(const Rule& rule, const Json& report) {
  Breaches breaches;
  for (const Json& each : report.at("breaches")) {
    const std::string group =
        each["group"].is_null() ? "0" : std::to_string(each["group"].get<int>());
    std::string place =
        each["kind"].get<std::string>() + " " + each["key"].get<std::string>() + " " + group + " ";
    if (rule.statistic == "median" || rule.statistic == "p95") {
      place += "whole";
    } else {
      tm fields{};
      strptime(each["begin"].get<std::string>().c_str(), "%Y-%m-%dT%H:%M:%SZ", &fields);
      place += std::to_string(timegm(&fields)) + " " +
               std::to_string(each["seconds"].get<int64_t>()) + " " +
               std::to_string(each["intervals"].get<int>());
    }
    breaches[place] = each["value"].get<double>();
  }
  return breaches;
}

// A rule about something that the series hold, with a limit amid its values.
Rule RandomRule(const SeriesMap& series, model::Random& random, bool runs) {
  auto at = series.begin();
  std::advance(at, random.Below(series.size()));
  const auto& [array, kind, key, measure, group] = at->first;
  const char* const statistics[] = {"mean", "max", "min", "median", "p95"};
  Rule rule;
  rule.kind = kind;
  rule.measure = measure;
  rule.statistic = statistics[runs ? random.Below(5) : 3 + random.Below(2)];
  rule.group = random.Percent(50) ? group : 0;
  rule.upper = random.Percent(70);
  rule.equal = random.Percent(30);
  rule.limit = at->second[random.Below(at->second.size())].value;
  // Rates of wait times may differ in their last digit; a limit beside them has no part in that.
  if (kind == "wait-time") rule.limit *= 1.000001;
  const bool span = rule.statistic == "median" || rule.statistic == "p95";
  if (!span && random.Percent(50)) rule.seconds = 60 * random.Range(1, 300);
  return rule;
}

class PsltoolFiguresLimits : public testing::TestWithParam<int> {
 protected:
  void CompareFile(const std::string& path, char level, bool runs, model::Random& random) {
    const SeriesMap series = SeriesOf(path);
    if (series.empty()) return;
    std::vector<Rule> rules;
    std::string text;
    for (int i = 0; i < 12; ++i) {
      rules.push_back(RandomRule(series, random, runs));
      text += rules.back().Text() + "\n";
    }
    directory_.Write("rules", text);
    const ProgramResult result =
        RunPsltool({"limits", "--utc", "--json", "--rules", directory_.Path("rules"), path});
    const Json report = Json::parse(result.out, nullptr, false);
    ASSERT_TRUE(report.is_object()) << path << ": " << result.err << text;
    EXPECT_EQ(result.status, report["breaches"].empty() ? 0 : 1) << result.err;
    for (size_t i = 0; i < rules.size(); ++i) {
      Json own = {{"breaches", Json::array()}};
      for (const Json& each : report["breaches"]) {
        if (each["line"] == i + 1) own["breaches"].push_back(each);
      }
      const Breaches expected = ExpectedBreaches(rules[i], series, level);
      const Breaches printed = Printed(rules[i], own);
      breaches_ += expected.size();
      EXPECT_EQ(printed.size(), own["breaches"].size()) << rules[i].Text();
      figures::Comparison comparison;
      comparison.Take(rules[i].Text(), {expected.begin(), expected.end()},
                      {printed.begin(), printed.end()});
      EXPECT_EQ(comparison.different(), 0U) << path << ": " << comparison.Report();
    }
  }

  TempDir directory_;
  size_t breaches_ = 0;
};

TEST_P(PsltoolFiguresLimits, BreachesAreTheCalculations) {
  const model::ScopedZone scoped("UTC");
  model::Random random(static_cast<uint64_t>(GetParam()));
  for (int seed = 0; seed < FigureSeeds(2); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const FigureFiles files(static_cast<uint64_t>(seed), GetParam());
    // Stamps of random logs go back and forth: runs are those of made ones.
    const bool runs = seed == 0;
    for (const std::string& path : files.logs()) CompareFile(path, 'L', runs, random);
    for (const std::string& path : files.hours()) CompareFile(path, 'H', runs, random);
    for (const std::string& path : files.days()) CompareFile(path, 'D', runs, random);
  }
  EXPECT_GT(breaches_, 20U);
  RecordProperty("breaches", std::to_string(breaches_));
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolFiguresLimits, testing::Range(0x10, 0x22),
                         RevisionParam<int>);

// Every interval counts once, whatever archives are named beside its log.
TEST(PsltoolFiguresMix, ArchivesBesideTheirLogsChangeNothing) {
  const model::ScopedZone scoped("UTC");
  TempDir directory;
  directory.Write(
      "rules", "ld ops > 1 for 2 hours\nld busy p95 > 0.5\npd mean median > 1\nhp busy max > 3\n");
  const FigureFiles files(0, 0x21);
  const auto breaches = [&](const std::vector<std::string>& paths) {
    std::vector<std::string> arguments = {"limits", "--json", "--rules", directory.Path("rules")};
    arguments.insert(arguments.end(), paths.begin(), paths.end());
    const ProgramResult result = RunPsltool(arguments);
    EXPECT_EQ(result.status, 1) << result.err;
    return Json::parse(result.out, nullptr, false);
  };
  const Json alone = breaches(files.logs());
  EXPECT_GT(alone["breaches"].size(), 4U);
  // Archives first, so that the order does not help.
  std::vector<std::string> mix = files.days();
  mix.insert(mix.end(), files.hours().begin(), files.hours().end());
  mix.insert(mix.end(), files.logs().begin(), files.logs().end());
  EXPECT_EQ(breaches(mix), alone);
  // Of the second day there are archives only: its intervals are hours.
  mix.pop_back();
  const Json partly = breaches(mix);
  EXPECT_NE(partly, alone);
  EXPECT_LT(partly["rules"][0]["values"], alone["rules"][0]["values"]);
  mix.erase(mix.begin(), mix.begin() + static_cast<ptrdiff_t>(files.days().size()));
  EXPECT_EQ(breaches(mix), partly);
}

}  // namespace
