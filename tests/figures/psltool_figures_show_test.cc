// `psltool show --json` against the second calculation: the history of resources of every kind, of
// random and made files of every revision.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "tests/figures/compare.h"
#include "tests/figures/entries.h"
#include "tests/figures/figure_files.h"
#include "tests/figures/periods.h"
#include "tests/model/random_source.h"
#include "tests/model/time_zone.h"
#include "tests/support/revision_param.h"

namespace {

using figures::Clock;
using figures::Comparison;
using figures::Json;
using figures::Values;

// Of a kind: its resources, and how many counter groups it has.
struct KindFacts {
  std::vector<std::string> keys;
  size_t groups = 0;
};

std::map<std::string, KindFacts> FactsOf(const figures::File& file) {
  std::map<std::string, KindFacts> facts;
  for (const figures::StatisticsRecord& record : file.records) {
    for (const figures::Entry& entry : record.entries) {
      if (entry.item && entry.kind != "wait-time") continue;
      KindFacts& kind = facts[entry.kind];
      kind.keys.push_back(entry.key);
      kind.groups = entry.groups.size();
    }
  }
  return facts;
}

// The values of the entry as a whole and of one counter group.
std::vector<Values> ExpectedRecords(const figures::File& file, const std::string& kind,
                                    const std::string& key, size_t group, Clock clock) {
  std::vector<Values> expected;
  const std::vector<figures::Period> periods = figures::PeriodsOf(file, clock);
  for (size_t i = 0; i < periods.size(); ++i) {
    for (const figures::Entry& entry : file.records[i].entries) {
      if (entry.kind != kind || entry.key != key) continue;
      Values values = figures::DumpValues(entry, false);
      std::erase_if(values, [group](const auto& each) {
        const std::string& name = each.first;
        const bool grouped = name.size() > 3 && name[0] == 'g' && name[2] == '_';
        return grouped && name[1] != static_cast<char>('0' + group);
      });
      values["time"] = figures::IsoText(periods[i].stamp, clock);
      values["stamp"] = periods[i].stamp;
      values["begin"] = figures::IsoText(periods[i].begin, clock);
      values["end"] = figures::IsoText(periods[i].end, clock);
      expected.push_back(values);
    }
  }
  return expected;
}

class PsltoolFiguresShow : public testing::TestWithParam<int> {
 protected:
  void CompareKind(const std::string& path, const figures::File& file, const std::string& kind,
                   const KindFacts& facts, Clock clock, model::Random& random) {
    const bool first = random.Percent(20);
    const std::string& key = facts.keys[first ? 0 : random.Below(facts.keys.size())];
    const size_t group = 1 + random.Below(facts.groups);
    std::vector<std::string> arguments = {
        "show", path, "--json", "--kind", kind, "--group", std::to_string(group)};
    if (!first) arguments.insert(arguments.end(), {"--key", key});
    if (clock == Clock::kUtc) arguments.emplace_back("--utc");
    const ProgramResult result = RunPsltool(arguments, model::EnvironmentZone().value());
    ASSERT_EQ(result.status, 0) << path << " " << kind << " " << key << ": " << result.err;
    const Json report = Json::parse(result.out);
    const Json& shown = report.at("files").at(0);
    EXPECT_EQ(shown.at("key"), key);
    const auto expected = ExpectedRecords(file, kind, key, group, clock);
    ASSERT_EQ(shown.at("records").size(), expected.size()) << path << " " << kind << " " << key;
    const std::string name = path.substr(path.rfind('/', path.rfind('/') - 1) + 1);
    for (size_t i = 0; i < expected.size(); ++i) {
      comparison_.Take(name + ", " + kind + " " + key, expected[i],
                       shown["records"][i].get<Values>());
    }
  }

  Comparison comparison_;
};

TEST_P(PsltoolFiguresShow, HistoriesAreTheCalculations) {
  model::Random random(static_cast<uint64_t>(GetParam()));
  for (int seed = 0; seed < FigureSeeds(2); ++seed) {
    const std::string zone = seed % 2 == 0 ? "Europe/Berlin" : "America/Los_Angeles";
    SCOPED_TRACE("seed " + std::to_string(seed) + ", " + zone);
    const model::ScopedZone scoped(zone);
    const FigureFiles files(static_cast<uint64_t>(seed), GetParam(), zone);
    for (const std::string& path : files.all()) {
      const std::string text = TempDir::ReadFile(path);
      const figures::File file = figures::ReadFile(model::Bytes(text.begin(), text.end()));
      for (const auto& [kind, facts] : FactsOf(file)) {
        CompareKind(path, file, kind, facts, random.Percent(50) ? Clock::kUtc : Clock::kLocal,
                    random);
      }
    }
  }
  EXPECT_EQ(comparison_.different(), 0U) << comparison_.Report();
  EXPECT_GT(comparison_.compared(), 1000U);
  RecordProperty("values", std::to_string(comparison_.compared()));
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolFiguresShow, EachRevision(), RevisionParam<int>);

}  // namespace
