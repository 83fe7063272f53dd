// `psltool dump` against the second calculation: every value and time of every entry of random and
// of made logs, their hour archives and their day archives, of every revision; and which entries
// --from and --to choose.
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/figures/compare.h"
#include "tests/figures/entries.h"
#include "tests/figures/figure_files.h"
#include "tests/figures/periods.h"
#include "tests/model/random_source.h"
#include "tests/model/time_zone.h"
#include "tests/support/lines.h"
#include "tests/support/revision_param.h"

namespace {

using figures::Clock;
using figures::Comparison;
using figures::Entry;
using figures::Json;
using figures::Values;

struct Expected {
  std::string place;
  Values values;
  figures::Period period;
};

model::Bytes ReadBytes(const std::string& path) {
  const std::string text = TempDir::ReadFile(path);
  return model::Bytes(text.begin(), text.end());
}

std::vector<Expected> ExpectedOf(const figures::File& file, bool raw, Clock clock) {
  std::vector<Expected> expected;
  const std::vector<figures::Period> periods = figures::PeriodsOf(file, clock);
  for (size_t i = 0; i < periods.size(); ++i) {
    const figures::StatisticsRecord& record = file.records[i];
    for (const Entry& entry : record.entries) {
      Values values = figures::DumpValues(entry, raw);
      values["stamp"] = record.stamp;
      values["kind"] = entry.kind;
      values["time"] = figures::IsoText(record.stamp, clock);
      values["begin"] = figures::IsoText(periods[i].begin, clock);
      values["end"] = figures::IsoText(periods[i].end, clock);
      expected.push_back(
          {"record " + std::to_string(record.number) + ", " + entry.kind + " " + entry.key, values,
           periods[i]});
    }
  }
  return expected;
}

std::vector<Values> JsonLines(const std::string& text) {
  std::vector<Values> all;
  for (const std::string& line : Lines(text)) all.push_back(Json::parse(line).get<Values>());
  return all;
}

// Cells are texts: what they stand for follows from what they look like, keys and hexadecimal
// bytes apart.
std::vector<Values> CsvLines(const std::string& text) {
  std::vector<Values> all;
  std::vector<std::string> names;
  for (const std::string& line : Lines(text)) {
    std::vector<std::string> cells;
    std::istringstream stream(line + ",");
    for (std::string cell; std::getline(stream, cell, ',');) cells.push_back(cell);
    if (names.empty()) {
      names = cells;
      continue;
    }
    if (cells.size() != names.size()) throw std::runtime_error("cells of " + line);
    Values values;
    for (size_t i = 0; i < cells.size(); ++i) {
      static const std::set<std::string> kTexts = {"key", "kind", "time", "bytes", "begin", "end"};
      if (cells[i].empty()) continue;
      const bool text_cell = kTexts.count(names[i]) != 0;
      values[names[i]] = text_cell ? Json(cells[i]) : Json::parse(cells[i]);
    }
    all.push_back(values);
  }
  return all;
}

// Random cases have one of these zones each, and ask in local time and in UTC by turns.
constexpr const char* kZones[] = {"UTC", "America/Los_Angeles", "Asia/Kolkata", "Europe/Berlin",
                                  "Pacific/Auckland"};

std::string ZoneOf(int seed) { return kZones[static_cast<size_t>(seed) % std::size(kZones)]; }

class PsltoolFiguresDump : public testing::TestWithParam<int> {
 protected:
  ProgramResult Dump(const std::string& path, std::vector<std::string> more, Clock clock) const {
    more.insert(more.begin(), {"dump", path});
    if (clock == Clock::kUtc) more.emplace_back("--utc");
    return RunPsltool(more, model::EnvironmentZone().value());
  }

  void Compare(const std::string& path, const std::vector<Values>& printed,
               const std::vector<Expected>& expected) {
    ASSERT_EQ(printed.size(), expected.size()) << path;
    const std::string name = path.substr(path.rfind('/', path.rfind('/') - 1) + 1);
    for (size_t i = 0; i < expected.size(); ++i) {
      comparison_.Take(name + ", " + expected[i].place, expected[i].values, printed[i]);
    }
  }

  void CompareAll(const std::string& path, const figures::File& file, Clock clock) {
    const ProgramResult json = Dump(path, {"--format", "ndjson", "--raw"}, clock);
    ASSERT_EQ(json.status, 0) << path << ": " << json.err;
    Compare(path, JsonLines(json.out), ExpectedOf(file, true, clock));
    const ProgramResult csv = Dump(path, {"--format", "csv"}, clock);
    Compare(path, CsvLines(csv.out), ExpectedOf(file, false, clock));
  }

  // A span between two moments at which something begins or ends, or beside them.
  void CompareChosen(const std::string& path, const figures::File& file, Clock clock,
                     model::Random& random) {
    const std::vector<figures::Period> periods = figures::PeriodsOf(file, clock);
    if (periods.empty()) return;
    const auto moment = [&] {
      const figures::Period& period = periods[random.Below(periods.size())];
      const int64_t moments[] = {period.begin, period.end, period.stamp};
      return std::max<int64_t>(moments[random.Below(3)] + random.Range(-1, 1), 0);
    };
    const int64_t one = moment();
    const int64_t other = moment();
    const int64_t from = std::min(one, other);
    const int64_t to = std::max(one, other);
    const std::vector<Expected> all = ExpectedOf(file, false, clock);
    std::vector<Expected> chosen;
    size_t records = 0;
    for (const figures::Period& period : periods) {
      const auto is_chosen = figures::IsChosen(file.level, period, from, to, clock);
      if (!is_chosen) return;
      records += *is_chosen ? 1 : 0;
    }
    for (const Expected& each : all) {
      if (*figures::IsChosen(file.level, each.period, from, to, clock)) chosen.push_back(each);
    }
    const ProgramResult result = Dump(path,
                                      {"--format", "ndjson", "--from", "@" + std::to_string(from),
                                       "--to", "@" + std::to_string(to)},
                                      clock);
    EXPECT_EQ(result.status, records == 0 ? 1 : 0)
        << path << " @" << from << " @" << to << ": " << result.err;
    SCOPED_TRACE("from @" + std::to_string(from) + " to @" + std::to_string(to));
    Compare(path, JsonLines(result.out), chosen);
    ++(chosen.empty() ? none_ : chosen.size() == all.size() ? every_ : some_);
  }

  Comparison comparison_;
  size_t none_ = 0;  // spans with no record, with some, with all of the file
  size_t some_ = 0;
  size_t every_ = 0;
};

TEST_P(PsltoolFiguresDump, EveryValueIsTheCalculations) {
  std::map<char, size_t> levels;
  for (int seed = 0; seed < FigureSeeds(3); ++seed) {
    const std::string zone = ZoneOf(seed);
    SCOPED_TRACE("seed " + std::to_string(seed) + ", " + zone);
    const model::ScopedZone scoped(zone);
    const FigureFiles files(static_cast<uint64_t>(seed), GetParam(), zone);
    for (const std::string& path : files.all()) {
      const figures::File file = figures::ReadFile(ReadBytes(path));
      ++levels[file.level];
      CompareAll(path, file, seed % 2 == 0 ? Clock::kLocal : Clock::kUtc);
    }
  }
  EXPECT_EQ(levels.size(), 3U);
  EXPECT_EQ(comparison_.different(), 0U) << comparison_.Report();
  EXPECT_GT(comparison_.compared(), 10000U);
  RecordProperty("values", std::to_string(comparison_.compared()));
}

TEST_P(PsltoolFiguresDump, SpansChooseWhatTheCalculationChooses) {
  model::Random random(static_cast<uint64_t>(GetParam()));
  for (int seed = 1; seed <= FigureSeeds(2); ++seed) {
    const std::string zone = ZoneOf(seed);
    SCOPED_TRACE("seed " + std::to_string(seed) + ", " + zone);
    const model::ScopedZone scoped(zone);
    const FigureFiles files(static_cast<uint64_t>(seed) + 500, GetParam(), zone);
    for (const std::string& path : files.all()) {
      const figures::File file = figures::ReadFile(ReadBytes(path));
      for (const Clock clock : {Clock::kLocal, Clock::kUtc}) {
        for (int i = 0; i < 2; ++i) CompareChosen(path, file, clock, random);
      }
    }
  }
  EXPECT_EQ(comparison_.different(), 0U) << comparison_.Report();
  EXPECT_GT(none_, 0U);
  EXPECT_GT(some_, 0U);
  EXPECT_GT(every_, 0U);
  RecordProperty("values", std::to_string(comparison_.compared()));
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolFiguresDump, EachRevision(), RevisionParam<int>);

}  // namespace
