// `psltool export` as text and into SQLite: the rows are those of `dump`, in every revision and
// level, and a database can be fed again.
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/export_rows.h"

namespace {

using spell::Bytes;

ProgramResult Psltool(const std::vector<std::string>& arguments, const std::string& zone = "UTC") {
  return RunProgram(PSLTOOL_PATH, arguments, {"", {{"TZ", zone}}});
}

ProgramResult Export(const std::string& form, const std::vector<std::string>& more,
                     const std::string& zone = "UTC") {
  std::vector<std::string> arguments = {"export", "--to", form};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return Psltool(arguments, zone);
}

std::vector<TidyRow> Dumped(const std::string& path, const std::string& level,
                            const std::vector<std::string>& more = {}) {
  std::vector<std::string> arguments = {"dump", path, "--format", "ndjson", "--utc"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  const ProgramResult result = Psltool(arguments);
  EXPECT_EQ(result.status, 0) << result.err;
  return RowsOfDump(result.out, "array01", level);
}

std::vector<TidyRow> RowsOfCsv(const std::string& text) {
  std::vector<TidyRow> rows;
  std::istringstream stream(text);
  std::string line;
  std::getline(stream, line);
  EXPECT_EQ(line, "time,array,kind,key,metric,statistic,value,unit,level,begin,end");
  while (std::getline(stream, line)) {
    std::vector<std::string> cells;
    std::istringstream parts(line);
    for (std::string cell; std::getline(parts, cell, ',');) cells.push_back(cell);
    if (cells.size() != 11) throw std::runtime_error("cells: " + line);
    rows.push_back({cells[0], 0, cells[1], cells[2], cells[3], cells[4], cells[5],
                    std::stod(cells[6]), cells[7], cells[8], cells[9], cells[10]});
  }
  return rows;
}

std::vector<TidyRow> RowsOfJson(const std::string& text) {
  std::vector<TidyRow> rows;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    const auto row = nlohmann::json::parse(line);
    rows.push_back({row["time"], 0, row["array"], row["kind"], row["key"], row["metric"],
                    row["statistic"], row["value"], row["unit"], row["level"], row["begin"],
                    row["end"]});
  }
  return rows;
}

// The answer to a query, cell by cell as text.
std::vector<std::vector<std::string>> Ask(const std::string& path, const std::string& query) {
  sqlite3* db = nullptr;
  sqlite3_stmt* statement = nullptr;
  std::vector<std::vector<std::string>> rows;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK &&
      sqlite3_prepare_v2(db, query.c_str(), -1, &statement, nullptr) == SQLITE_OK) {
    while (sqlite3_step(statement) == SQLITE_ROW) {
      std::vector<std::string> row;
      for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
        row.emplace_back(text == nullptr ? "NULL" : text);
      }
      rows.push_back(row);
    }
  } else {
    ADD_FAILURE() << sqlite3_errmsg(db);
  }
  sqlite3_finalize(statement);
  sqlite3_close(db);
  return rows;
}

std::string AskOne(const std::string& path, const std::string& query) {
  const auto rows = Ask(path, query);
  return rows.size() == 1 && rows[0].size() == 1 ? rows[0][0] : "not one";
}

// A database keeps the rows of a file in the order of its index.
std::vector<TidyRow> Sorted(std::vector<TidyRow> rows) {
  std::sort(rows.begin(), rows.end(),
            [](const TidyRow& a, const TidyRow& b) { return a.Tie() < b.Tie(); });
  return rows;
}

// The rows of a file, sorted. Seventeen digits give every number back.
std::vector<TidyRow> RowsOfDatabase(const std::string& path, const std::string& file) {
  std::vector<TidyRow> rows;
  for (const auto& cells :
       Ask(path,
           "SELECT strftime('%Y-%m-%dT%H:%M:%SZ', samples.stamp, 'unixepoch'), series.array, kind, "
           "key, "
           "metric, statistic, printf('%!.17g', value), unit, series.level, "
           "strftime('%Y-%m-%dT%H:%M:%SZ', begin, 'unixepoch'), "
           "strftime('%Y-%m-%dT%H:%M:%SZ', end, 'unixepoch') FROM samples "
           "JOIN series ON series.id = series JOIN files ON files.id = samples.file "
           "JOIN periods ON periods.file = samples.file AND periods.stamp = samples.stamp "
           "WHERE files.name = '" +
               file + "' ORDER BY samples.rowid")) {
    rows.push_back({cells[0], 0, cells[1], cells[2], cells[3], cells[4], cells[5],
                    std::stod(cells[6]), cells[7], cells[8], cells[9], cells[10]});
  }
  return Sorted(std::move(rows));
}

class PsltoolExportRevision : public testing::TestWithParam<int> {};

TEST_P(PsltoolExportRevision, AllFormsHoldWhatDumpPrints) {
  TempDir dir;
  const std::string database = dir.Path("x.db");
  const std::vector<LeveledFile> files = MakeAllLevels(dir.Path(), GetParam());
  std::vector<std::string> paths;
  for (const LeveledFile& file : files) paths.push_back(file.path);
  std::vector<std::string> all = paths;
  all.insert(all.end(), {"-o", database});
  ASSERT_EQ(Export("sqlite", all).status, 0);
  for (const LeveledFile& file : files) {
    const std::vector<TidyRow> expected = Dumped(file.path, file.level);
    ASSERT_GT(expected.size(), 50U);
    const ProgramResult csv = Export("csv", {"--utc", file.path});
    EXPECT_EQ(csv.status, 0) << csv.err;
    EXPECT_TRUE(RowsOfCsv(csv.out) == expected) << file.path;
    EXPECT_TRUE(RowsOfJson(Export("ndjson", {"--utc", file.path}).out) == expected) << file.path;
    const std::string name = std::filesystem::path(file.path).filename();
    EXPECT_TRUE(RowsOfDatabase(database, name) == Sorted(expected)) << file.path;
  }
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolExportRevision, EachRevision(), RevisionParam<int>);

class PsltoolExport : public testing::Test {
 protected:
  void SetUp() override {
    files_ = MakeAllLevels(dir_.Path(), 0x21);
    log_ = files_[0].path;
  }
  std::string Db() const { return dir_.Path("x.db"); }
  bool HasPart() const {
    const std::vector<std::string> names = dir_.Names();
    return std::any_of(names.begin(), names.end(),
                       [](const std::string& name) { return name.ends_with(".part"); });
  }

  TempDir dir_;
  std::vector<LeveledFile> files_;
  std::string log_;
};

TEST_F(PsltoolExport, AFileExportedAgainReplacesItsRows) {
  ASSERT_EQ(Export("sqlite", {"-o", Db(), files_[0].path, files_[1].path}).status, 0);
  const std::string before = AskOne(Db(), "SELECT count(*) FROM samples");
  const std::string series = AskOne(Db(), "SELECT count(*) FROM series");
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(Export("sqlite", {"-o", Db(), files_[0].path, files_[1].path}).status, 0);
    EXPECT_EQ(AskOne(Db(), "SELECT count(*) FROM samples"), before);
    EXPECT_EQ(AskOne(Db(), "SELECT count(*) FROM series"), series);
  }
  EXPECT_TRUE(RowsOfDatabase(Db(), "20240304array01.psl") == Sorted(Dumped(log_, "log")));
  // Also when less is asked for, and wherever the file lies now.
  dir_.MakeDirectory("moved");
  std::filesystem::rename(log_, dir_.Path("moved/20240304array01.psl"));
  ASSERT_EQ(
      Export("sqlite", {"-o", Db(), dir_.Path("moved/20240304array01.psl"), "--kind", "ld"}).status,
      0);
  EXPECT_TRUE(RowsOfDatabase(Db(), "20240304array01.psl") ==
              Sorted(Dumped(dir_.Path("moved/20240304array01.psl"), "log", {"--kind", "ld"})));
  EXPECT_TRUE(RowsOfDatabase(Db(), "20240304array01.psa") ==
              Sorted(Dumped(files_[1].path, "hour")));
  EXPECT_EQ(AskOne(Db(), "SELECT count(*) FROM files"), "2");
  EXPECT_EQ(AskOne(Db(), "PRAGMA integrity_check"), "ok");
}

// Put as they came, rows touched pages of the index all over: a second export took seven times the
// first.
TEST_F(PsltoolExport, RowsOfAFileStandInTheOrderOfTheIndex) {
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(Export("sqlite", {"-o", Db(), files_[0].path, files_[1].path}).status, 0);
    EXPECT_EQ(AskOne(Db(),
                     "SELECT count(*) FROM samples a JOIN samples b ON b.id = a.id + 1 AND "
                     "b.file = a.file WHERE (b.series, b.stamp) < (a.series, a.stamp)"),
              "0");
  }
}

TEST_F(PsltoolExport, TheViewAnswersWhatPeopleAsk) {
  ASSERT_EQ(Export("sqlite", {"-o", Db(), log_}).status, 0);
  double sum = 0;
  double most = 0;
  for (const TidyRow& row : Dumped(log_, "log", {"--kind", "ld", "--key", "1"})) {
    if (row.metric == "g1_ops") sum += row.value;
    if (row.metric == "busy" && row.statistic == "max") most = std::max(most, row.value);
  }
  const std::string where = " FROM tidy WHERE array = 'array01' AND kind = 'ld' AND key = '1' AND ";
  EXPECT_EQ(std::stod(AskOne(Db(), "SELECT sum(value)" + where + "metric = 'g1_ops'")), sum);
  EXPECT_EQ(std::stod(AskOne(
                Db(), "SELECT max(value)" + where + "metric = 'busy' AND statistic = 'max'")),
            most);
  EXPECT_GT(most, 0);
  const auto plan = Ask(Db(), "EXPLAIN QUERY PLAN SELECT sum(value)" + where +
                                  "level = 'log' AND metric = 'g1_ops' AND statistic = 'sum'");
  std::string text;
  for (const auto& row : plan) text += row.back() + "\n";
  EXPECT_NE(text.find("USING INDEX samples_by_series"), std::string::npos) << text;
  EXPECT_EQ(text.find("SCAN samples"), std::string::npos) << text;
}

TEST_F(PsltoolExport, OptionsChooseRows) {
  const std::vector<std::string> choice = {"--kind", "pd",     "--key",
                                           "0.0",    "--from", "2024-03-04 04:00"};
  std::vector<std::string> more = choice;
  more.insert(more.end(), {"--to", "2024-03-04 08:00", "--utc", log_});
  std::vector<std::string> dump = choice;
  dump.insert(dump.end(), {"--to", "2024-03-04 08:00"});
  const std::vector<TidyRow> expected = Dumped(log_, "log", dump);
  EXPECT_GT(expected.size(), 10U);
  EXPECT_TRUE(RowsOfCsv(Export("csv", more).out) == expected);
  const auto local = RowsOfCsv(Export("csv", {log_}, "Asia/Kolkata").out);
  EXPECT_EQ(local.at(0).time, "2024-03-04T05:30:00+05:30");
}

TEST_F(PsltoolExport, SeveralFilesShareOneHead) {
  const ProgramResult result =
      Export("csv", {"--utc", "-o", dir_.Path("x.csv"), files_[0].path, files_[1].path});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "");
  std::vector<TidyRow> expected = Dumped(files_[0].path, "log");
  for (const TidyRow& row : Dumped(files_[1].path, "hour")) expected.push_back(row);
  EXPECT_TRUE(RowsOfCsv(dir_.Read("x.csv")) == expected);
}

TEST_F(PsltoolExport, NamesOfArraysAreQuoted) {
  const std::string odd = dir_.Path("20240304a\"b,c.psl");
  std::filesystem::rename(log_, odd);
  const std::vector<std::string> more = {"--kind", "ld", "--key", "0", odd};
  const std::string csv = Export("csv", more).out;
  EXPECT_NE(csv.find(",\"a\"\"b,c\",ld,0,status,"), std::string::npos) << csv.substr(0, 300);
  const std::string first = Export("ndjson", more).out;
  EXPECT_EQ(nlohmann::json::parse(first.substr(0, first.find('\n')))["array"], "a\"b,c");
  // A name of another form tells no array.
  std::filesystem::rename(odd, dir_.Path("x.psl"));
  EXPECT_NE(Export("csv", {"--utc", dir_.Path("x.psl")}).out.find("Z,,ld,0,"), std::string::npos);
  EXPECT_NE(Export("csv", {"--utc", "--array", "a1", dir_.Path("x.psl")}).out.find("Z,a1,ld,0,"),
            std::string::npos);
}

TEST_F(PsltoolExport, ABrokenFileIsExportedUpToThePlace) {
  const Bytes whole = dir_.Read("20240304array01.psl");
  const auto records = spell::Records(whole);
  dir_.Write("20240304array01.psl", whole.substr(0, whole.size() - 5));
  const ProgramResult csv = Export("csv", {"--utc", log_});
  EXPECT_EQ(csv.status, 1);
  EXPECT_NE(csv.err.find("record length"), std::string::npos) << csv.err;
  const ProgramResult result = Export("sqlite", {"-o", Db(), log_, files_[1].path});
  EXPECT_EQ(result.status, 1);
  EXPECT_TRUE(RowsOfDatabase(Db(), "20240304array01.psl") == Sorted(RowsOfCsv(csv.out)));
  EXPECT_EQ(AskOne(Db(), "SELECT complete FROM files WHERE name LIKE '%.psl'"), "0");
  EXPECT_NE(AskOne(Db(), "SELECT trouble FROM files WHERE name LIKE '%.psl'").find("offset"),
            std::string::npos);
  EXPECT_TRUE(RowsOfDatabase(Db(), "20240304array01.psa") ==
              Sorted(Dumped(files_[1].path, "hour")));
  // The next run finds the log complete.
  dir_.Write("20240304array01.psl", whole);
  EXPECT_EQ(Export("sqlite", {"-o", Db(), log_}).status, 0);
  EXPECT_EQ(AskOne(Db(), "SELECT min(complete) || ' ' || count(trouble) FROM files"), "1 0");
  EXPECT_TRUE(RowsOfDatabase(Db(), "20240304array01.psl") == Sorted(Dumped(log_, "log")));
}

TEST_F(PsltoolExport, WhatCannotBeIsRefused) {
  dir_.MakeDirectory("other");
  std::filesystem::create_symlink(log_, dir_.Path("link"));
  const Bytes log = dir_.Read("20240304array01.psl");
  std::filesystem::copy_file(log_, dir_.Path("other/20240304array01.psl"));
  for (const auto& options : std::vector<std::vector<std::string>>{
           {"--to", "xml", log_},
           {"--to", "csv", "--to", "ndjson", log_},
           {log_},
           {"--to", "sqlite", log_},
           {"--to", "sqlite", "-o", Db(), log_, dir_.Path("other/20240304array01.psl")},
           {"--to", "csv", "--from", "soon", log_},
           {"--to", "csv", "--key", "1", log_},
           {"--to", "csv", "-o", files_[1].path, log_},
           {"--to", "csv", "-o", dir_.Path("link"), log_},
           {"--to", "sqlite", "-o", dir_.Path("link"), log_},
           {"--to", "csv", "-o", "/dev/null", log_},
           {"--to", "sqlite", "-o", "/dev/null", log_},
           {"--to", "csv", "-o", "/nowhere/x.csv", log_}}) {
    std::vector<std::string> arguments = options;
    arguments.insert(arguments.begin(), "export");
    const ProgramResult result = Psltool(arguments);
    EXPECT_EQ(result.status, 2) << options[1];
    EXPECT_NE(result.err, "");
    EXPECT_EQ(result.out, "");
    EXPECT_FALSE(dir_.Exists("x.db"));
  }
  EXPECT_EQ(dir_.Read("20240304array01.psl"), log);
  // A file that is missing: no text file, but a database keeps the others.
  EXPECT_EQ(Export("csv", {"-o", dir_.Path("x.csv"), log_, dir_.Path("none.psl")}).status, 2);
  EXPECT_FALSE(dir_.Exists("x.csv"));
  EXPECT_FALSE(HasPart());
  EXPECT_EQ(Export("sqlite", {"-o", Db(), dir_.Path("none.psl")}).status, 2);
  EXPECT_FALSE(dir_.Exists("x.db"));
  EXPECT_EQ(Export("sqlite", {"-o", Db(), dir_.Path("none.psl"), log_}).status, 2);
  EXPECT_EQ(AskOne(Db(), "SELECT count(*) FROM files"), "1");
}

TEST_F(PsltoolExport, NothingOfTheTimeOrKeyIsToldOnceForAllFiles) {
  const std::vector<std::string> key = {"--kind", "ld", "--key", "4711"};
  const std::vector<std::string> late = {"--from", "2031-01-01"};
  for (const auto& choice : {key, late}) {
    for (const char* form : {"csv", "ndjson", "openmetrics", "sqlite"}) {
      dir_.Write("x.out", "as it was");
      const std::string out = std::string(form) == "sqlite" ? Db() : dir_.Path("x.out");
      std::vector<std::string> more = choice;
      more.insert(more.end(), {"-o", out, files_[0].path, files_[1].path});
      const ProgramResult result = Export(form, more);
      EXPECT_EQ(result.status, 1) << form;
      EXPECT_TRUE(result.err.starts_with("psltool: export: no record ")) << result.err;
      EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
      EXPECT_EQ(dir_.Read("x.out"), "as it was");
      EXPECT_FALSE(HasPart());
      EXPECT_FALSE(dir_.Exists("x.db"));
    }
  }
  // One file with rows is enough: the day archive has no record of this time.
  const auto lines = Export("csv", {"--utc", log_}).out;
  const std::string first = lines.substr(lines.find('\n') + 1, 19);
  const std::vector<std::string> times = {"--from", first, "--to", first, "--utc"};
  std::vector<std::string> both = times;
  both.insert(both.end(), {files_[2].path, log_});
  const ProgramResult some = Export("csv", both);
  EXPECT_EQ(some.status, 0) << some.err;
  EXPECT_EQ(some.err, "");
  std::vector<std::string> archive = times;
  archive.push_back(files_[2].path);
  EXPECT_EQ(Export("csv", archive).status, 1);
  const ProgramResult reversed =
      Export("csv", {"--from", "2024-03-05", "--to", "2024-03-04", log_});
  EXPECT_EQ(reversed.status, 2);
  EXPECT_NE(reversed.err.find("export --from: '2024-03-05' is after --to '2024-03-04'"),
            std::string::npos)
      << reversed.err;
}

TEST_F(PsltoolExport, AnotherProgramsDatabaseIsLeftAlone) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(Db().c_str(), &db), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(db, "CREATE TABLE files (x); INSERT INTO files VALUES (1)", nullptr,
                         nullptr, nullptr),
            SQLITE_OK);
  sqlite3_close(db);
  const std::string bytes = dir_.Read("x.db");
  const ProgramResult result = Export("sqlite", {"-o", Db(), log_});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find("is the database of another program"), std::string::npos);
  EXPECT_EQ(dir_.Read("x.db"), bytes);
  dir_.Write("x.db", std::string(4096, 'x'));
  EXPECT_EQ(Export("sqlite", {"-o", Db(), log_}).status, 2);
  EXPECT_EQ(dir_.Read("x.db"), std::string(4096, 'x'));
}

}  // namespace
