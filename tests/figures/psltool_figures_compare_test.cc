// `psltool compare` against the second calculation: values, medians, percentiles, maxima, weights
// and the changes that are told, over files of every revision, matched by hours and weekdays too.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

#include "tests/figures/compare.h"
#include "tests/figures/figure_files.h"
#include "tests/figures/figure_rows.h"
#include "tests/figures/spans.h"
#include "tests/model/random_source.h"
#include "tests/model/time_zone.h"
#include "tests/support/revision_param.h"

namespace {

using figures::Clock;
using figures::Comparison;
using figures::Interval;
using figures::Json;
using figures::SeriesMap;
using figures::SeriesName;
using figures::Values;

struct Side {
  SeriesMap series;
  // Every entry of a kind and key, valid or not: when, and how long it was.
  std::map<std::pair<std::string, std::string>, std::vector<std::pair<figures::Period, double>>>
      lengths;
  std::vector<figures::Period> periods;
};

Side SideOf(const std::string& path) {
  const std::string text = TempDir::ReadFile(path);
  const figures::File file = figures::ReadFile(model::Bytes(text.begin(), text.end()));
  Side side;
  side.periods = figures::PeriodsOf(file, Clock::kLocal);
  figures::AddSeries(ArrayOf(path), file, side.periods, side.series);
  for (size_t i = 0; i < file.records.size(); ++i) {
    for (const figures::Entry& entry : file.records[i].entries) {
      side.lengths[{entry.kind, entry.key}].emplace_back(side.periods[i], entry.length);
    }
  }
  return side;
}

// In UTC, as the tests run.
int CellOf(const figures::Period& period, const std::string& match) {
  const int64_t hour = period.begin / 3600 % 24;
  const int64_t weekday = (period.begin / 86400 + 3) % 7;
  if (match == "hour") return static_cast<int>(hour);
  if (match == "weekday") return static_cast<int>(weekday);
  return match == "both" ? static_cast<int>(24 * weekday + hour) : 0;
}

// Seconds by cell.
std::map<int, double> CellsOf(const Side& side, const std::string& match) {
  std::map<int, double> cells;
  for (const figures::Period& period : side.periods) {
    cells[CellOf(period, match)] +=
        std::max<double>(1, static_cast<double>(period.end - period.begin));
  }
  return cells;
}

struct Amount {
  bool told = false;
  double value = 0;
  double weight = 0;
  double largest = 0;
  double most = 0;
  double milliseconds = 0;  // of the resource
  Json median, high;
};

bool IsLargest(const std::string& measure) {
  return measure == "max" || measure == "first-max" || measure == "second-max";
}
bool IsAverage(const std::string& measure) { return measure == "mean" || measure == "second"; }

// Weights of intervals change with matching, so that they are no whole numbers: sorted and summed.
Json Percentile(std::vector<std::pair<double, double>> values, double percent) {
  std::erase_if(values, [](const auto& each) { return !(each.second > 0); });
  if (values.empty()) return {};
  std::sort(values.begin(), values.end());
  double all = 0;
  for (const auto& each : values) all += each.second;
  double sum = 0;
  for (const auto& [value, weight] : values) {
    sum += weight;
    if (sum * 100 >= percent * all) return value;
  }
  return values.back().first;
}

class Expectation {
 public:
  Expectation(const Side& before, const Side& after, const std::string& match, double least)
      : least_(least) {
    Take(before, after, match, before_);
    Take(after, before, match, after_);
  }

  // "what kind key measure group" to the values of a change.
  std::map<std::string, Values> Changes() {
    std::map<std::string, Values> changes;
    std::set<SeriesName> names;
    for (const auto& [name, amount] : before_) names.insert(name);
    for (const auto& [name, amount] : after_) names.insert(name);
    std::map<std::tuple<std::string, std::string, std::string>, std::vector<SeriesName>> alone;
    for (const SeriesName& name : names) {
      const auto& [array, kind, key, measure, group] = name;
      const bool was = held_before_.contains({array, kind, key});
      const bool is = held_after_.contains({array, kind, key});
      const Amount b = Of(before_, name);
      const Amount a = Of(after_, name);
      if (!b.told && !a.told) continue;
      if (was && is) {
        const double difference = std::abs(a.value - b.value);
        if (difference == 0 || difference * 100 < least_ * std::max(a.value, b.value)) continue;
        Put(a.value > b.value ? "rose" : "fell", name, changes);
      } else {
        alone[{array, kind, key}].push_back(name);
      }
    }
    for (const auto& [place, its] : alone) {
      const SeriesName* weightiest = nullptr;
      for (const SeriesName& name : its) {
        if (weightiest == nullptr || WeightOf(name) > WeightOf(*weightiest)) weightiest = &name;
      }
      Put(held_before_.contains(place) ? "went" : "appeared", *weightiest, changes, false);
    }
    return changes;
  }

 private:
  using Amounts = std::map<SeriesName, Amount>;

  static Amount Of(const Amounts& amounts, const SeriesName& name) {
    const auto found = amounts.find(name);
    return found == amounts.end() ? Amount() : found->second;
  }

  void Take(const Side& side, const Side& other, const std::string& match, Amounts& amounts) {
    std::map<int, double> own = CellsOf(side, match);
    std::map<int, double> others = CellsOf(other, match);
    const auto factor = [&](const Interval& interval) {
      if (match.empty()) return 1.0;
      const int cell = CellOf(interval.period, match);
      return std::min(own.at(cell), others[cell]) / own.at(cell);
    };
    for (const auto& [name, intervals] : side.series) {
      const auto& [array, kind, key, measure, group] = name;
      Amount amount;
      std::vector<std::pair<double, double>> values;
      double sum = 0;
      for (const Interval& each : intervals) {
        const double by = factor(each);
        if (by == 0) continue;
        const bool first = !amount.told;
        amount.told = true;
        amount.largest = first ? each.value : std::max(amount.largest, each.value);
        amount.most = first ? each.most : std::max(amount.most, each.most);
        const double weight = static_cast<double>(each.weight) * by;
        amount.weight += weight;
        sum += each.value * weight;
        values.emplace_back(each.value, weight);
      }
      if (!amount.told) continue;
      (&amounts == &before_ ? held_before_ : held_after_).insert({array, kind, key});
      amount.median = Percentile(values, 50);
      amount.high = Percentile(values, 95);
      amount.value = IsLargest(measure) ? amount.largest : sum / amount.weight;
      amount.told = IsLargest(measure) || amount.weight > 0;
      if (!amount.told) amount.value = 0;
      amounts[name] = amount;
    }
    // How long each resource was there: by all of its entries.
    for (auto& [name, amount] : amounts) {
      const auto& [array, kind, key, measure, group] = name;
      for (const auto& [period, length] : side.lengths.at({kind, key})) {
        const int cell = CellOf(period, match);
        const double by = match.empty() ? 1.0 : std::min(own.at(cell), others[cell]) / own.at(cell);
        amount.milliseconds += length * by;
      }
    }
  }

  static double Rate(const Amount& amount) {
    return amount.milliseconds > 0 ? amount.weight * 1000 / amount.milliseconds : 0;
  }

  double WholeOf(const SeriesName& name) const {
    const auto& [array, kind, key, measure, group] = name;
    if (measure == "busy" || measure.ends_with("-ratio")) return 100;
    double wholes[2] = {0, 0};
    for (int i = 0; i < 2; ++i) {
      for (const auto& [other, amount] : i == 0 ? before_ : after_) {
        if (std::get<0>(other) != array || std::get<1>(other) != kind) continue;
        if (std::get<3>(other) != measure || std::get<4>(other) != group) continue;
        const double part = IsAverage(measure) ? amount.value * Rate(amount) : amount.value;
        const bool summed = measure == "ops" || measure == "volume" || IsAverage(measure);
        wholes[i] = summed ? wholes[i] + part : std::max(wholes[i], part);
      }
    }
    return std::max(wholes[0], wholes[1]);
  }

  double WeightOf(const SeriesName& name) const {
    const Amount b = Of(before_, name);
    const Amount a = Of(after_, name);
    const double whole = WholeOf(name);
    if (!(whole > 0)) return 0;
    double difference = std::abs(a.value - b.value);
    if (IsAverage(std::get<3>(name))) {
      const double rates[] = {Rate(b), Rate(a)};
      difference *= rates[0] == 0 || rates[1] == 0 ? std::max(rates[0], rates[1])
                                                   : std::min(rates[0], rates[1]);
    }
    return std::min(difference / whole, 1.0);
  }

  static void PutSide(const std::string& side, const Amount& amount, bool there, Values& to) {
    to[side + " value"] = amount.told ? Json(amount.value) : Json();
    to[side + " max"] = there ? Json(amount.most) : Json();
    to[side + " median"] = amount.median;
    to[side + " p95"] = amount.high;
  }

  void Put(const std::string& what, const SeriesName& name, std::map<std::string, Values>& changes,
           bool named = true) const {
    const auto& [array, kind, key, measure, group] = name;
    // Of several measures with one weight either may be told of what came or went.
    const std::string place = what + " " + array + " " + kind + " " + key +
                              (named ? " " + measure + " " + std::to_string(group) : "");
    Values& values = changes[place];
    values["weight"] = WeightOf(name);
    if (!named) return;
    PutSide("before", Of(before_, name), before_.contains(name), values);
    PutSide("after", Of(after_, name), after_.contains(name), values);
  }

  double least_;
  Amounts before_;
  Amounts after_;
  std::set<std::tuple<std::string, std::string, std::string>> held_before_;
  std::set<std::tuple<std::string, std::string, std::string>> held_after_;
};

std::map<std::string, Values> Printed(const Json& report) {
  std::map<std::string, Values> changes;
  for (const Json& each : report.at("changes")) {
    const std::string what = each["change"];
    const bool named = what == "rose" || what == "fell";
    const std::string group =
        each["group"].is_null() ? "0" : std::to_string(each["group"].get<int>());
    const std::string place = what + " " + each["array"].get<std::string>() + " " +
                              each["kind"].get<std::string>() + " " +
                              each["key"].get<std::string>() +
                              (named ? " " + each["measure"].get<std::string>() + " " + group : "");
    Values& values = changes[place];
    values["weight"] = each["weight"];
    if (!named) continue;
    for (const std::string side : {"before", "after"}) {
      for (const std::string name : {"value", "max", "median", "p95"}) {
        values[side + " " + name] = each[side][name];
      }
    }
  }
  return changes;
}

class PsltoolFiguresCompare : public testing::TestWithParam<int> {
 protected:
  void CompareFiles(const std::string& before, const std::string& after, const std::string& match,
                    double least) {
    std::vector<std::string> arguments = {"compare", "--json",  "-n",
                                          "1000000", "--least", std::to_string(least)};
    for (const char* measure :
         {"ops", "volume", "mean", "max", "second", "busy", "first-ratio", "second-ratio",
          "first-max", "second-max", "first-rate", "second-rate", "value"}) {
      arguments.insert(arguments.end(), {"-m", measure});
    }
    if (!match.empty()) arguments.insert(arguments.end(), {"--match", match});
    arguments.insert(arguments.end(), {before, "--", after});
    const ProgramResult result = RunPsltool(arguments);
    const Json report = Json::parse(result.out, nullptr, false);
    ASSERT_TRUE(report.is_object()) << before << ": " << result.err;
    auto expected = Expectation(SideOf(before), SideOf(after), match, least).Changes();
    auto printed = Printed(report);
    std::erase_if(expected, [&](const auto& each) { return IsNear(each, printed); });
    std::erase_if(printed, [&](const auto& each) { return IsNear(each, expected); });
    ASSERT_EQ(expected.size(), printed.size()) << before << " -- " << after << " " << match;
    for (auto& [place, values] : expected) {
      ASSERT_TRUE(printed.contains(place)) << before << ": " << place;
      // A difference of two means that are nearly the same has few digits.
      EXPECT_NEAR(values["weight"].get<double>(), printed[place]["weight"].get<double>(), 1e-9)
          << before << ": " << place;
      values.erase("weight");
      printed[place].erase("weight");
      comparison_.Take(before + " " + match + ": " + place, values, printed.at(place));
    }
    double weight = 1;
    for (const Json& each : report["changes"]) {
      EXPECT_LE(each["weight"].get<double>(), weight) << before;
      weight = each["weight"];
    }
  }

  // A change on only one side is a fault, unless sums of another order fall on the other side of
  // the smallest change.
  static bool IsNear(const std::pair<const std::string, Values>& each,
                     const std::map<std::string, Values>& others) {
    if (others.contains(each.first)) return false;
    const auto number = [&](const char* name) {
      const auto found = each.second.find(name);
      return found != each.second.end() && found->second.is_number() ? found->second.get<double>()
                                                                     : 0.0;
    };
    const double a = number("before value");
    const double b = number("after value");
    return a != 0 && std::abs(a - b) < 1e-9 * std::max(a, b);
  }

  Comparison comparison_;
};

TEST_P(PsltoolFiguresCompare, ChangesAreTheCalculations) {
  const model::ScopedZone scoped("UTC");
  model::Random random(static_cast<uint64_t>(GetParam()));
  const char* const matches[] = {"", "hour", "weekday", "both"};
  for (int seed = 0; seed < FigureSeeds(2); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const FigureFiles files(static_cast<uint64_t>(seed), GetParam());
    for (const auto& paths : {files.logs(), files.hours()}) {
      // Both are of one array in made logs; random ones can have several.
      if (paths.size() < 2 || ArrayOf(paths[0]).empty()) continue;
      if (ArrayOf(paths[0]) != ArrayOf(paths[1])) continue;
      for (int round = 0; round < 2; ++round) {
        const std::string match = matches[random.Below(4)];
        CompareFiles(paths[0], paths[1], match, random.Percent(50) ? 0 : 5);
      }
    }
  }
  EXPECT_EQ(comparison_.different(), 0U) << comparison_.Report();
  EXPECT_GT(comparison_.compared(), 60U);
  RecordProperty("values", std::to_string(comparison_.compared()));
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolFiguresCompare, testing::Range(0x10, 0x22),
                         RevisionParam<int>);

// A span with itself has no change, whatever is matched.
TEST(PsltoolFiguresSame, ASpanWithItselfHasNoChange) {
  const model::ScopedZone scoped("UTC");
  const FigureFiles files(0, 0x21);
  const ProgramResult result = RunPsltool({"compare", "--json", "--least", "0", "--match", "both",
                                           files.logs()[0], "--", files.logs()[0]});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(Json::parse(result.out)["changes"].empty()) << result.out;
}

}  // namespace
