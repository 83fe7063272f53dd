// `psltool export`: metrics and statistics that are asked for, one line for each resource and time,
// and the names that a site gives.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/revision_param.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/export_rows.h"
#include "tests/support/tools/openmetrics_text.h"

namespace {

ProgramResult ExportChosen(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"export", "--utc"});
  return RunProgram(PSLTOOL_PATH, arguments);
}

std::vector<std::string> With(std::vector<std::string> options,
                              const std::vector<LeveledFile>& files) {
  for (const LeveledFile& file : files) options.push_back(file.path);
  return options;
}

// Cells by the names of their columns.
using Row = std::map<std::string, std::string>;

std::vector<Row> ReadCsv(const std::string& text) {
  std::vector<std::vector<std::string>> lines;
  for (const std::string& line : Lines(text)) lines.push_back(Cells(line));
  std::vector<Row> rows;
  for (size_t i = 1; i < lines.size(); ++i) {
    EXPECT_EQ(lines[i].size(), lines[0].size()) << text.substr(0, 1000);
    Row row;
    for (size_t k = 0; k < lines[0].size(); ++k) row[lines[0][k]] = lines[i].at(k);
    rows.push_back(row);
  }
  return rows;
}

// Columns that tell which line of the wide form a row is in.
constexpr const char* kPlace[] = {"time", "array", "kind", "key", "level", "begin", "end"};

class PsltoolExportWide : public testing::TestWithParam<int> {};

// One line of the wide form says what many lines of the other say, in the same order.
TEST_P(PsltoolExportWide, HoldsTheRowsOfTheLongForm) {
  TempDir dir;
  const std::vector<LeveledFile> files = MakeAllLevels(dir.Path(), GetParam());
  const std::vector<Row> rows = ReadCsv(ExportChosen(With({"--format", "csv"}, files)).out);
  const ProgramResult result = ExportChosen(With({"--format", "wide"}, files));
  EXPECT_EQ(result.status, 0) << result.err;
  const std::vector<Row> lines = ReadCsv(result.out);
  ASSERT_GT(rows.size(), 10 * lines.size());
  auto line = lines.begin();
  size_t cells = 0;
  for (const Row& row : rows) {
    const auto same = [&](const Row& other) {
      return std::all_of(std::begin(kPlace), std::end(kPlace),
                         [&](const char* name) { return row.at(name) == other.at(name); });
    };
    while (line != lines.end() && !same(*line)) ++line;
    ASSERT_NE(line, lines.end()) << row.at("time") << row.at("kind") << row.at("key");
    EXPECT_EQ(line->at(row.at("metric") + "_" + row.at("statistic")), row.at("value"));
    ++cells;
  }
  // Everything else is empty.
  size_t filled = 0;
  for (const Row& each : lines) {
    for (const auto& [name, cell] : each) filled += cell.empty() ? 0 : 1;
  }
  EXPECT_EQ(filled, cells + std::size(kPlace) * lines.size());
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolExportWide, testing::Values(0x10, 0x13, 0x19, 0x21),
                         RevisionParam<int>);

class PsltoolExportChoice : public testing::Test {
 protected:
  void SetUp() override { files_ = MakeAllLevels(dir_.Path(), 0x21); }
  std::string Log() const { return files_[0].path; }
  std::string Hour() const { return files_[1].path; }

  TempDir dir_;
  std::vector<LeveledFile> files_;
};

TEST_F(PsltoolExportChoice, MetricsAndStatisticsChooseRows) {
  const std::vector<Row> all = ReadCsv(ExportChosen({"--format", "csv", Hour()}).out);
  const auto expect = [&](std::vector<std::string> options, auto wanted) {
    options.insert(options.end(), {"--format", "csv", Hour()});
    std::vector<Row> expected;
    std::copy_if(all.begin(), all.end(), std::back_inserter(expected), wanted);
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(ReadCsv(ExportChosen(options).out), expected) << options[1];
  };
  expect({"--metric", "busy"}, [](const Row& row) { return row.at("metric") == "busy"; });
  expect({"--metric", "g2_ops_rate", "--stat", "max"}, [](const Row& row) {
    return row.at("metric") == "g2_ops_rate" && row.at("statistic") == "max";
  });
  expect({"--metric", "volume_rate", "--metric", "word_at_16"}, [](const Row& row) {
    return row.at("metric").ends_with("_volume_rate") || row.at("metric") == "word_at_16";
  });
  // "ops" is not "ops_rate", and "flags" not "second_flags".
  expect({"--metric", "ops", "--metric", "flags"}, [](const Row& row) {
    return row.at("metric").substr(2) == "_ops" || row.at("metric") == "flags";
  });
  expect({"--stat", "min", "--stat", "sum", "--kind", "ld"}, [](const Row& row) {
    return row.at("kind") == "ld" && (row.at("statistic") == "min" || row.at("statistic") == "sum");
  });
  const std::vector<std::string> wide =
      Lines(ExportChosen(
                {"--format", "wide", "--metric", "busy", "--kind", "ld", "--stat", "mean", Log()})
                .out);
  EXPECT_EQ(wide[0], "time,array,kind,key,level,begin,end,busy_mean");
}

TEST_F(PsltoolExportChoice, WordsThatMeanNothingAreRefused) {
  for (const auto& [option, word] : std::map<std::string, std::string>{
           {"--metric", "g7_ops"}, {"--stat", "median"}, {"--format", "xml"}}) {
    const ProgramResult result = ExportChosen({"--to", "csv", option, word, Log()});
    EXPECT_EQ(result.status, 2) << option;
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find(word), std::string::npos) << result.err;
  }
  for (const char* word : {"g1_busy", "word_at_", "word_at_x", "word", "", "ops_per_s"}) {
    EXPECT_EQ(ExportChosen({"--format", "csv", "--metric", word, Log()}).status, 2) << word;
  }
  // A metric that exists, but not here.
  const ProgramResult none =
      ExportChosen({"--format", "csv", "--metric", "volume_rate", "--stat", "sum", Log()});
  EXPECT_EQ(none.status, 1);
  EXPECT_EQ(none.err,
            "psltool: export: no entry has the metric volume_rate with the statistic sum\n");
}

// The form had to be given as --to, which is also the last time.
TEST_F(PsltoolExportChoice, TheFormHasAnOptionOfItsOwn) {
  const std::string to = ExportChosen({"--to", "csv", "--to", "2024-03-04 10:00", Log()}).out;
  EXPECT_GT(Lines(to).size(), 10U);
  EXPECT_EQ(ExportChosen({"--format", "csv", "--to", "2024-03-04 10:00", Log()}).out, to);
  EXPECT_EQ(ExportChosen({"--format", "csv", "--to", "csv", "--to", "2024-03-04 10:00", Log()}).out,
            to);
  const ProgramResult two = ExportChosen({"--format", "csv", "--to", "ndjson", Log()});
  EXPECT_EQ(two.status, 2);
  EXPECT_NE(two.err.find("exclude each other"), std::string::npos) << two.err;
  EXPECT_EQ(ExportChosen({Log()}).status, 2);
}

TEST_F(PsltoolExportChoice, NamesOfASiteAreInEveryForm) {
  dir_.Write("labels", "group ld 1 reads\nresource array01 ld 1 mail \"store\"\n");
  const std::vector<std::string> options = {"--labels", dir_.Path("labels"), "--kind", "ld"};
  const auto exported = [&](std::vector<std::string> more) {
    more.insert(more.end(), options.begin(), options.end());
    more.push_back(Log());
    const ProgramResult result = ExportChosen(more);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  };
  const std::vector<std::string> csv = Lines(exported({"--format", "csv"}));
  EXPECT_TRUE(csv[0].ends_with(",level,begin,end,name,group_name")) << csv[0];
  const auto ending = [&](const std::string& start, const std::string& end) {
    return std::count_if(csv.begin(), csv.end(), [&](const std::string& line) {
      return line.find(start) != std::string::npos && line.ends_with(end);
    });
  };
  EXPECT_GT(ending(",ld,1,g1_ops,", ",\"mail \"\"store\"\"\",reads"), 0);
  EXPECT_GT(ending(",ld,1,g2_ops,", ",\"mail \"\"store\"\"\","), 0);
  EXPECT_GT(ending(",ld,0,g1_ops,", ",,reads"), 0);
  bool named = false;
  for (const std::string& line : Lines(exported({"--format", "ndjson"}))) {
    const auto row = nlohmann::json::parse(line);
    EXPECT_EQ(row["name"], row["key"] == "1" ? "mail \"store\"" : "");
    named = named || row["group_name"] == "reads";
  }
  EXPECT_TRUE(named);
  const std::vector<std::string> wide = Lines(exported({"--format", "wide", "--metric", "busy"}));
  EXPECT_TRUE(wide[0].starts_with("time,array,kind,key,level,begin,end,name,busy_mean")) << wide[0];
  EXPECT_NE(wide[2].find(",\"mail \"\"store\"\"\","), std::string::npos) << wide[2];
  const OpenMetricsText text = ReadOpenMetrics(exported({"--format", "openmetrics"}));
  EXPECT_EQ(text.error, "");
  for (const auto& [place, value] : text.samples) {
    const auto& labels = std::get<2>(place);
    EXPECT_EQ(labels.contains("name"), labels.at("key") == "1");
    EXPECT_EQ(labels.contains("group_name"), labels.contains("group") && labels.at("group") == "1");
  }
}

TEST_F(PsltoolExportChoice, ADatabaseKeepsTheNames) {
  dir_.Write("labels", "group ld 1 reads\nresource array01 ld 1 mail\n");
  const std::string path = dir_.Path("x.db");
  const auto names = [&] {
    std::string text;
    sqlite3* db = nullptr;
    EXPECT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
    const auto add = [](void* to, int count, char** cells, char**) {
      for (int i = 0; i < count; ++i) {
        *static_cast<std::string*>(to) +=
            std::string(cells[i] == nullptr ? "NULL" : cells[i]) + " ";
      }
      return 0;
    };
    EXPECT_EQ(sqlite3_exec(db,
                           "SELECT DISTINCT key, name, group_name FROM tidy WHERE kind = 'ld' AND "
                           "metric IN ('g1_ops', 'busy') ORDER BY key, metric",
                           add, &text, nullptr),
              SQLITE_OK);
    sqlite3_close(db);
    return text;
  };
  ASSERT_EQ(ExportChosen({"--format", "sqlite", "-o", path, Log()}).status, 0);
  EXPECT_EQ(names(), "0 NULL NULL 1 NULL NULL ");
  ASSERT_EQ(ExportChosen({"--format", "sqlite", "-o", path, "--labels", dir_.Path("labels"), Log()})
                .status,
            0);
  const std::string named = "0   0  reads 1 mail  1 mail reads ";
  EXPECT_EQ(names(), named);
  // A run without names leaves them.
  ASSERT_EQ(ExportChosen({"--format", "sqlite", "-o", path, Log()}).status, 0);
  EXPECT_EQ(names(), named);
}

}  // namespace
