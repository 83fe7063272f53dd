// `psltool dump` against the second calculation: every value of every entry of random and of made
// logs, their hour archives and their day archives, of every revision.
#include <gtest/gtest.h>

#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/figures/compare.h"
#include "tests/figures/entries.h"
#include "tests/support/figure_files.h"
#include "tests/support/lines.h"
#include "tests/support/revision_param.h"

namespace {

using figures::Comparison;
using figures::Entry;
using figures::Json;
using figures::Values;

struct Expected {
  std::string place;
  Values values;
};

model::Bytes ReadBytes(const std::string& path) {
  const std::string text = TempDir::ReadFile(path);
  return model::Bytes(text.begin(), text.end());
}

std::vector<Expected> ExpectedOf(const figures::File& file, bool raw) {
  std::vector<Expected> expected;
  for (const figures::StatisticsRecord& record : file.records) {
    for (const Entry& entry : record.entries) {
      Values values = figures::DumpValues(entry, raw);
      values["stamp"] = record.stamp;
      values["kind"] = entry.kind;
      expected.push_back(
          {"record " + std::to_string(record.number) + ", " + entry.kind + " " + entry.key,
           values});
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

// Names whose values are not this test's business.
void DropTimes(std::vector<Values>& lines) {
  for (Values& values : lines) values.erase("time");
}

class PsltoolFiguresDump : public testing::TestWithParam<int> {
 protected:
  void Compare(const std::string& path, const std::string& format, bool raw) {
    std::vector<std::string> arguments = {"dump", path, "--utc", "--format", format};
    if (raw) arguments.emplace_back("--raw");
    const ProgramResult result = RunPsltool(arguments);
    ASSERT_EQ(result.status, 0) << path << ": " << result.err;
    std::vector<Values> printed = format == "csv" ? CsvLines(result.out) : JsonLines(result.out);
    DropTimes(printed);
    const std::vector<Expected> expected = ExpectedOf(figures::ReadFile(ReadBytes(path)), raw);
    ASSERT_EQ(printed.size(), expected.size()) << path;
    const std::string name = path.substr(path.rfind('/', path.rfind('/') - 1) + 1);
    for (size_t i = 0; i < expected.size(); ++i) {
      comparison_.Take(name + ", " + expected[i].place, expected[i].values, printed[i]);
    }
  }

  Comparison comparison_;
};

TEST_P(PsltoolFiguresDump, EveryValueIsTheCalculations) {
  size_t hours = 0;
  size_t days = 0;
  for (int seed = 0; seed < FigureSeeds(3); ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const FigureFiles files(static_cast<uint64_t>(seed), GetParam());
    hours += files.hours().size();
    days += files.days().size();
    for (const std::string& path : files.all()) {
      Compare(path, "ndjson", true);
      Compare(path, "csv", false);
    }
  }
  EXPECT_GT(hours, 0U);
  EXPECT_GT(days, 0U);
  EXPECT_EQ(comparison_.different(), 0U) << comparison_.Report();
  EXPECT_GT(comparison_.compared(), 10000U);
  RecordProperty("values", std::to_string(comparison_.compared()));
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolFiguresDump, testing::Range(0x10, 0x22),
                         RevisionParam<int>);

}  // namespace
