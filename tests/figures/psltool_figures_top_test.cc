// `psltool top` against the second calculation: sums, ranks, peaks and cells of random and made
// files of every revision; and that no interval ever counts twice.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/figures/compare.h"
#include "tests/figures/entries.h"
#include "tests/figures/figure_files.h"
#include "tests/figures/periods.h"
#include "tests/figures/sums.h"
#include "tests/model/random_source.h"
#include "tests/model/time_zone.h"
#include "tests/support/revision_param.h"

namespace {

using figures::Clock;
using figures::Comparison;
using figures::Json;
using figures::Question;
using figures::Total;
using figures::Values;

struct ReadyFile {
  std::string path;
  std::string array;
  figures::File file;
  std::vector<figures::Period> periods;
};

ReadyFile Ready(const std::string& path, Clock clock) {
  const std::string text = TempDir::ReadFile(path);
  const std::string name = path.substr(path.rfind('/') + 1);
  const size_t start = name.find_first_not_of("0123456789");
  std::string array = name.substr(start, name.find_first_of("#.", start) - start);
  ReadyFile ready = {path,
                     array.empty() ? "-" : array,
                     figures::ReadFile(model::Bytes(text.begin(), text.end())),
                     {}};
  ready.periods = figures::PeriodsOf(ready.file, clock);
  return ready;
}

Json OrNull(std::optional<double> value) { return value ? Json(*value) : Json(); }

Values ExpectedValues(const std::vector<figures::ChosenRecord>& records, const Total& total,
                      const Question& question) {
  Values values = {{"ops", total.all.operations},
                   {"ops_per_s", OrNull(total.all.Measure("ops"))},
                   {"first_mean", OrNull(total.all.Measure("mean"))},
                   {"max", OrNull(total.all.Measure("max"))},
                   {"kvolume_per_s", OrNull(total.all.Measure("volume"))},
                   {"busy_pct", OrNull(total.all.Measure("busy"))},
                   {"median", OrNull(figures::PercentileOf(total, question, 50))},
                   {"p95", OrNull(figures::PercentileOf(total, question, 95))},
                   {"peak", OrNull(total.peak.value)}};
  if (total.peak.value) values["peak stamp"] = total.peak.stamp;
  const auto cells = figures::CellsOf(records, total, question, 40);
  for (size_t i = 0; i < cells.size(); ++i) values["cell " + std::to_string(i)] = OrNull(cells[i]);
  return values;
}

Values PrintedValues(const Json& object) {
  Values values;
  for (const char* name :
       {"ops", "ops_per_s", "first_mean", "max", "kvolume_per_s", "busy_pct", "median", "p95"}) {
    values[name] = object.at(name);
  }
  if (!object.at("peak").is_null()) {
    values["peak"] = object["peak"]["value"];
    values["peak stamp"] = object["peak"]["stamp"];
  }
  for (size_t i = 0; i < object["cells"].size(); ++i) {
    values["cell " + std::to_string(i)] = object["cells"][i];
  }
  return values;
}

std::vector<figures::ChosenRecord> RecordsOf(const std::vector<ReadyFile>& files) {
  std::vector<figures::ChosenRecord> records;
  for (const ReadyFile& ready : files) {
    for (const figures::StatisticsRecord& record : ready.file.records) {
      records.push_back({ready.array, record.stamp, &record});
    }
  }
  return records;
}

class PsltoolFiguresTop : public testing::TestWithParam<int> {
 protected:
  void CompareReport(const Json& report, const std::vector<figures::ChosenRecord>& records,
                     const Question& question, const std::string& place) {
    auto resources = figures::SumsOf(records, question);
    std::erase_if(resources,
                  [&](const auto& each) { return !each.second.all.Measure(question.by); });
    ASSERT_EQ(report["resources"].size(), resources.size()) << place;
    double before = 0;
    for (const Json& printed : report["resources"]) {
      const std::string key = printed["key"];
      const auto found = resources.find({printed["array"], key});
      ASSERT_NE(found, resources.end()) << place << ", " << key;
      comparison_.Take(place + " " + question.kind + " " + key + " by " + question.by,
                       ExpectedValues(records, found->second, question), PrintedValues(printed));
      // Ranks: operations as such, other measures as they are.
      const double value = question.by == "ops" ? found->second.all.operations
                                                : *found->second.all.Measure(question.by);
      EXPECT_TRUE(printed["rank"] == 1 || value <= before * (1 + 1e-12)) << place << ", " << key;
      before = value;
    }
    const auto totals = figures::TotalsOf(records, question);
    ASSERT_EQ(report["totals"].size(), totals.size()) << place;
    for (const Json& printed : report["totals"]) {
      comparison_.Take(place + ", all " + question.kind + " by " + question.by,
                       ExpectedValues(records, totals.at(printed["array"]), question),
                       PrintedValues(printed));
    }
  }

  // Every kind that the files hold, by every measure in turn.
  void CompareFiles(const std::vector<ReadyFile>& files, model::Random& random) {
    const std::vector<figures::ChosenRecord> records = RecordsOf(files);
    std::map<std::string, size_t> groups;
    for (const figures::ChosenRecord& chosen : records) {
      for (const figures::Entry& entry : chosen.record->entries) {
        if (!entry.item || entry.kind == "wait-time") groups[entry.kind] = entry.groups.size();
      }
    }
    const char* const measures[] = {"ops", "busy", "mean", "max", "volume"};
    for (const auto& [kind, count] : groups) {
      const size_t group = 1 + random.Below(count);
      const Question question = {kind, group, measures[random.Below(5)]};
      std::vector<std::string> arguments = {
          "top", "--json", "-n",        "100000",  "--kind",
          kind,  "--by",   question.by, "--group", std::to_string(group)};
      for (const ReadyFile& ready : files) arguments.push_back(ready.path);
      const ProgramResult result = RunPsltool(arguments);
      const Json report = Json::parse(result.out, nullptr, false);
      ASSERT_TRUE(report.is_object()) << kind << " " << files[0].path << result.err;
      EXPECT_EQ(result.status, report["resources"].empty() ? 1 : 0) << result.err;
      const std::string& path = files[0].path;
      CompareReport(report, records, question,
                    path.substr(path.rfind('/', path.rfind('/') - 1) + 1));
    }
  }

  Comparison comparison_;
};

TEST_P(PsltoolFiguresTop, SumsAreTheCalculations) {
  model::Random random(static_cast<uint64_t>(GetParam()));
  for (int seed = 0; seed < FigureSeeds(2); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const model::ScopedZone scoped("UTC");
    const FigureFiles files(static_cast<uint64_t>(seed), GetParam());
    for (const std::string& path : files.all()) {
      const ReadyFile ready = Ready(path, Clock::kLocal);
      if (!ready.file.records.empty()) CompareFiles({ready}, random);
    }
  }
  EXPECT_EQ(comparison_.different(), 0U) << comparison_.Report();
  EXPECT_GT(comparison_.compared(), 1000U);
  RecordProperty("values", std::to_string(comparison_.compared()));
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolFiguresTop, EachRevision(), RevisionParam<int>);

// Three days of one array, at all levels. An interval is a statistics record of a log; what it is
// part of follows from its stamp.
class PsltoolFiguresTwice : public PsltoolFiguresTop {
 protected:
  // How often each interval of the logs is in the records of a file that lie in the span.
  static void Count(const ReadyFile& ready, const std::vector<ReadyFile>& logs, int64_t from,
                    int64_t to, std::map<uint32_t, int>& times) {
    for (const figures::Period& period : ready.periods) {
      if (!figures::IsChosen(ready.file.level, period, from, to, Clock::kLocal).value()) continue;
      for (const ReadyFile& log : logs) {
        for (const figures::Period& interval : log.periods) {
          // Records of archives have the stamp of their last interval, and never hold one of
          // another day's log.
          const bool same_log =
              log.periods.front().stamp <= period.stamp && period.stamp <= log.periods.back().stamp;
          const bool inside = ready.file.level == 'L' ? interval.stamp == period.stamp
                              : ready.file.level == 'H'
                                  ? interval.stamp / 3600 == period.stamp / 3600
                                  : log.periods.back().stamp == period.stamp;
          if (inside && same_log) ++times[interval.stamp];
        }
      }
    }
  }
};

TEST_P(PsltoolFiguresTwice, NoIntervalEverDoes) {
  // Where a day begins at half past, two archives hold a part of one hour each.
  const char* const zones[] = {"Europe/Berlin", "Asia/Kolkata", "America/New_York", "UTC"};
  const std::string zone = zones[(static_cast<size_t>(GetParam()) / 4 + 1) % std::size(zones)];
  const model::ScopedZone scoped(zone);
  const FigureFiles files(0, GetParam(), zone, 900);
  std::vector<ReadyFile> logs;
  std::vector<ReadyFile> all;
  for (const std::string& path : files.logs()) logs.push_back(Ready(path, Clock::kLocal));
  for (const std::string& path : files.all()) all.push_back(Ready(path, Clock::kLocal));
  ASSERT_GT(all.size(), logs.size());
  model::Random random(static_cast<uint64_t>(GetParam()));
  int taken = 0;
  int refused = 0;
  for (int round = 0; round < 12 * FigureSeeds(2); ++round) {
    std::vector<ReadyFile> chosen = all;
    random.Shuffle(chosen);
    chosen.resize(static_cast<size_t>(random.Range(1, 3)), all[0]);
    // From somewhere to somewhere, often at a full hour.
    const int64_t first = logs.front().periods.front().stamp;
    const int64_t last = logs.back().periods.back().stamp + 3600;
    const auto moment = [&] {
      const int64_t any = first + random.Range(0, static_cast<int>(last - first));
      return random.Percent(70) ? any - any % 3600 : any;
    };
    const bool whole = random.Percent(40);
    const int64_t one = moment();
    const int64_t other = moment();
    const int64_t from = whole ? 0 : std::min(one, other);
    const int64_t to = whole ? last : std::max(one, other) - random.Range(0, 1);
    if (from > to) continue;
    std::vector<std::string> arguments = {
        "top", "--json", "--from", "@" + std::to_string(from), "--to", "@" + std::to_string(to)};
    std::map<uint32_t, int> times;
    std::string names;
    for (const ReadyFile& ready : chosen) {
      arguments.push_back(ready.path);
      names += ready.path + " ";
      Count(ready, logs, from, to, times);
    }
    const ProgramResult result = RunPsltool(arguments, zone);
    const bool twice =
        std::any_of(times.begin(), times.end(), [](const auto& each) { return each.second > 1; });
    ++(twice ? refused : taken);
    EXPECT_EQ(result.status, twice           ? 2
                             : times.empty() ? 1
                                             : 0)
        << names << "from @" << from << " to @" << to << ": " << result.err;
  }
  EXPECT_GT(taken, 0);
  EXPECT_GT(refused, 0);
}

INSTANTIATE_TEST_SUITE_P(Revisions, PsltoolFiguresTwice,
                         testing::Values(0x10, 0x14, 0x18, 0x1D, 0x21), RevisionParam<int>);

}  // namespace
