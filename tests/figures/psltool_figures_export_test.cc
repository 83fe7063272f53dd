// `psltool export` against the second calculation: every row of every form, for random and made
// logs and their archives, of every revision.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <compare>
#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/figures/compare.h"
#include "tests/figures/figure_files.h"
#include "tests/figures/figure_rows.h"
#include "tests/support/lines.h"
#include "tests/support/revision_param.h"

namespace {

using figures::Comparison;
using figures::Json;

// Takes the cell of a column; columns that rows have no member for are passed over.
void SetCell(TidyRow& row, const std::string& column, std::string text) {
  static const std::pair<const char*, std::string TidyRow::*> kTexts[] = {
      {"time", &TidyRow::time}, {"array", &TidyRow::array},   {"kind", &TidyRow::kind},
      {"key", &TidyRow::key},   {"metric", &TidyRow::metric}, {"statistic", &TidyRow::statistic},
      {"unit", &TidyRow::unit}, {"level", &TidyRow::level},   {"begin", &TidyRow::begin},
      {"end", &TidyRow::end}};
  for (const auto& [name, member] : kTexts) {
    if (column != name) continue;
    row.*member = std::move(text);
    return;
  }
  if (column == "value") row.value = std::stod(text);
}

std::vector<TidyRow> RowsOfCsv(const std::string& text) {
  std::vector<TidyRow> rows;
  std::vector<std::string> names;
  for (const std::string& line : Lines(text)) {
    std::vector<std::string> cells = Cells(line);
    if (names.empty()) {
      names = cells;
      continue;
    }
    TidyRow& row = rows.emplace_back();
    for (size_t i = 0; i < names.size(); ++i) SetCell(row, names[i], std::move(cells.at(i)));
  }
  return rows;
}

std::vector<TidyRow> RowsOfJson(const std::string& text) {
  std::vector<TidyRow> rows;
  for (const std::string& line : Lines(text)) {
    const Json object = Json::parse(line);
    TidyRow& row = rows.emplace_back();
    for (const auto& [name, value] : object.items()) {
      SetCell(row, name, value.is_string() ? value.get<std::string>() : value.dump());
    }
  }
  return rows;
}

// The database leaves the times to those who ask: here they are asked for as texts.
std::vector<TidyRow> RowsOfDatabase(const std::string& path) {
  sqlite3* db = nullptr;
  sqlite3_stmt* statement = nullptr;
  std::vector<TidyRow> rows;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr);
  sqlite3_prepare_v2(db,
                     "SELECT time, array, kind, key, metric, statistic, printf('%!.17g', value) "
                     "AS value, unit, level, begin, end FROM tidy",
                     -1, &statement, nullptr);
  while (sqlite3_step(statement) == SQLITE_ROW) {
    TidyRow& row = rows.emplace_back();
    for (int i = 0; i < sqlite3_column_count(statement); ++i) {
      SetCell(row, sqlite3_column_name(statement, i),
              reinterpret_cast<const char*>(sqlite3_column_text(statement, i)));
    }
  }
  EXPECT_EQ(sqlite3_errcode(db), SQLITE_DONE) << sqlite3_errmsg(db);
  sqlite3_finalize(statement);
  sqlite3_close(db);
  return rows;
}

// In a database records of one stamp in a file have one period, from the first begin to the last
// end.
void JoinPeriods(std::vector<TidyRow>& rows) {
  std::map<std::string, std::pair<std::string, std::string>> periods;
  for (const TidyRow& row : rows) {
    auto& period = periods.try_emplace(row.time, row.begin, row.end).first->second;
    period = {std::min(period.first, row.begin), std::max(period.second, row.end)};
  }
  for (TidyRow& row : rows) std::tie(row.begin, row.end) = periods.at(row.time);
}

// Everything but the value; what tells most rows of a file apart comes first.
auto NameOf(const TidyRow& row) {
  return std::tie(row.key, row.metric, row.statistic, row.time, row.kind, row.begin, row.end,
                  row.level, row.array, row.unit);
}

// A row in an order that is the same for expected and exported ones: that of a number made of its
// name, as long texts that begin alike take long to compare.
struct Sortable {
  size_t number;
  const TidyRow* row;

  std::strong_ordering operator<=>(const Sortable& other) const {
    const auto order = number <=> other.number;
    return order != 0 ? order : NameOf(*row) <=> NameOf(*other.row);
  }
};

std::vector<Sortable> Sorted(const std::vector<TidyRow>& rows) {
  std::vector<Sortable> sorted;
  sorted.reserve(rows.size());
  std::string name;
  for (const TidyRow& row : rows) {
    name.clear();
    std::apply([&](const auto&... parts) { (name.append(parts).append(1, ','), ...); },
               NameOf(row));
    sorted.push_back({std::hash<std::string>()(name), &row});
  }
  std::sort(sorted.begin(), sorted.end(), [](const Sortable& a, const Sortable& b) {
    const auto order = a <=> b;
    return order != 0 ? order < 0 : a.row->value < b.row->value;
  });
  return sorted;
}

class PsltoolFiguresExport : public testing::TestWithParam<int> {
 protected:
  void Compare(const std::vector<TidyRow>& expected, const std::vector<TidyRow>& exported,
               const std::string& what) {
    const std::vector<Sortable> wanted = Sorted(expected);
    const std::vector<Sortable> had = Sorted(exported);
    auto want = wanted.begin();
    auto have = had.begin();
    while (want != wanted.end() || have != had.end()) {
      const bool no_more = have == had.end();
      const auto order =
          want == wanted.end() || no_more ? std::strong_ordering::equal : *want <=> *have;
      if (want != wanted.end() && (no_more || order < 0)) {
        Take(what, *want->row, want->row->value, Json());
        ++want;
      } else if (want == wanted.end() || order > 0) {
        Take(what, *have->row, Json(), have->row->value);
        ++have;
      } else {
        Take(what, *want->row, want->row->value, have->row->value);
        ++want;
        ++have;
      }
    }
  }

  void Take(const std::string& what, const TidyRow& row, const Json& expected,
            const Json& exported) {
    if (figures::SameValue(expected, exported)) {
      comparison_.TakeOne("", "", expected, exported);
      return;
    }
    comparison_.TakeOne(what + ", " + row.level + " " + row.array + " " + row.time + " " +
                            row.begin + " " + row.end + " " + row.kind + " " + row.key + " in " +
                            row.unit,
                        row.metric + " " + row.statistic, expected, exported);
  }

  Comparison comparison_;
};

TEST_P(PsltoolFiguresExport, EveryRowIsTheCalculations) {
  // One case takes a while: made files for even revisions, random ones for odd ones.
  for (int i = 0; i < FigureSeeds(1); ++i) {
    const int seed = i + GetParam() % 2;
    SCOPED_TRACE("seed " + std::to_string(seed));
    const FigureFiles files(static_cast<uint64_t>(seed), GetParam());
    const TempDir out;
    std::vector<TidyRow> all;
    std::vector<std::string> paths;
    for (const std::string& path : files.all()) {
      std::vector<TidyRow> expected = FigureRows(path);
      const ProgramResult csv = RunPsltool({"export", "--to", "csv", "--utc", path});
      ASSERT_EQ(csv.status, 0) << csv.err;
      Compare(expected, RowsOfCsv(csv.out), "csv of " + path);
      const ProgramResult json = RunPsltool({"export", "--to", "ndjson", "--utc", path});
      Compare(expected, RowsOfJson(json.out), "ndjson of " + path);
      // Day archives have one name, however they were made.
      if (path.find("/straight/") != std::string::npos) continue;
      JoinPeriods(expected);
      all.insert(all.end(), expected.begin(), expected.end());
      paths.push_back(path);
    }
    std::vector<std::string> arguments = {"export", "--to", "sqlite", "-o", out.Path("x.db")};
    arguments.insert(arguments.end(), paths.begin(), paths.end());
    const ProgramResult sqlite = RunPsltool(arguments);
    ASSERT_EQ(sqlite.status, 0) << sqlite.err;
    Compare(all, RowsOfDatabase(out.Path("x.db")), "sqlite");
  }
  EXPECT_EQ(comparison_.different(), 0U) << comparison_.Report();
  EXPECT_GT(comparison_.compared(), 5000U);
  RecordProperty("values", std::to_string(comparison_.compared()));
}

// What is left out is not even decoded, so that what stays could be another column's value.
TEST_P(PsltoolFiguresExport, ChosenMetricsAreTheCalculations) {
  const FigureFiles files(static_cast<uint64_t>(GetParam() % 2), GetParam());
  const std::vector<std::pair<std::string, std::string>> choices = {
      {"ops_rate", "max"}, {"g2_maximum", "max"}, {"volume_rate", "mean"}, {"busy", "mean"},
      {"g1_ops", "sum"},   {"interval", "sum"},   {"second", "mean"}};
  for (const std::string& path : files.all()) {
    const std::vector<TidyRow> all = FigureRows(path);
    for (const auto& [metric, statistic] : choices) {
      std::vector<TidyRow> chosen;
      for (const TidyRow& row : all) {
        const bool group = row.metric[0] == 'g' && row.metric[2] == '_';
        const bool called = row.metric == metric || (group && row.metric.substr(3) == metric);
        if (called && row.statistic == statistic) chosen.push_back(row);
      }
      const ProgramResult csv = RunPsltool(
          {"export", "--format", "csv", "--utc", "--metric", metric, "--stat", statistic, path});
      Compare(chosen, RowsOfCsv(csv.out), metric + " of " + path);
    }
  }
  EXPECT_EQ(comparison_.different(), 0U) << comparison_.Report();
  EXPECT_GT(comparison_.compared(), 500U);
  RecordProperty("values", std::to_string(comparison_.compared()));
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolFiguresExport, EachRevision(), RevisionParam<int>);

}  // namespace
