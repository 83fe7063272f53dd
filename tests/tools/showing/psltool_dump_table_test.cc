// `psltool dump` as a table: narrow enough to be read, points under points, nothing lost with
// --wide.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/dump_run.h"
#include "tests/support/tools/export_rows.h"

namespace {

using spell::Bytes;

constexpr size_t kMostWidth = 120;

bool IsHead(const std::string& line) {
  return (line.starts_with("time (") || line.starts_with("period ("));
}

// Where the columns of a head end: they are right-aligned.
size_t EndOf(const std::string& head, const std::string& column) {
  const size_t at = head.find(" " + column + " ");
  if (at != std::string::npos) return at + 1 + column.size();
  return head.ends_with(" " + column) ? head.size() : 0;
}

class PsltoolDumpTable : public testing::TestWithParam<int> {};

// Lines had up to 260 characters.
TEST_P(PsltoolDumpTable, FitsIntoItsWidthWithPointsUnderPoints) {
  TempDir dir;
  for (const LeveledFile& file : MakeAllLevels(dir.Path(), GetParam())) {
    const ProgramResult narrow = Dump(file.path, {});
    ASSERT_EQ(narrow.status, 0) << narrow.err;
    const ProgramResult wide = Dump(file.path, {"--wide"});
    std::string head;
    size_t points = 0;
    for (const std::string& line : Lines(narrow.out)) {
      EXPECT_LE(line.size(), kMostWidth) << line;
      if (IsHead(line)) head = line;
      if (IsHead(line) || line.empty()) continue;
      for (const char* column : {"busy %", "ops/s", "volume/1024/s", "ops/s max", "busy % max"}) {
        const size_t end = EndOf(head, column);
        if (end == 0 || end > line.size()) continue;
        // What is not known is a stroke, what is of the entry stands on its first line only.
        if (line[end - 1] == '-' || line[end - 1] == ' ') continue;
        EXPECT_EQ(line[end - 3], '.') << head << "\n" << line;
        ++points;
      }
    }
    EXPECT_GT(points, 20U);
    EXPECT_EQ(Lines(wide.out).size(), Lines(narrow.out).size());
    for (const char* column : {"status", "interval ms", "valid"}) {
      EXPECT_NE(EndOf(Lines(wide.out)[0], column), 0U) << column;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolDumpTable, testing::Values(0x10, 0x12, 0x18, 0x21),
                         RevisionParam<int>);

// The stamp lies in an hour that clocks show twice: its offset makes the column of times wider, and
// the head with it.
TEST(PsltoolDump, TableIsAsWideAsItsTimes) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const ProgramResult result =
      Dump(dir.Path("x.psl"), {"--kind", "ld", "--key", "258"}, "AAA-1BBB-2,J200,J1/3:30");
  ASSERT_EQ(result.status, 0) << result.err;
  const std::vector<std::string> lines = Lines(result.out);
  ASSERT_EQ(lines.size(), 6U) << result.out;
  EXPECT_TRUE(lines[1].starts_with("2024-01-01 02:59:00+02:00 ld      258 ")) << lines[1];
  const size_t end = EndOf(lines[0], "ops/s");
  ASSERT_NE(end, 0U) << lines[0];
  EXPECT_EQ(lines[1].substr(end - 4, 4), "1.14") << result.out;
  for (const std::string& line : lines) EXPECT_LE(line.size(), kMostWidth) << line;
}

TEST(PsltoolDump, TableHasALineForEachGroup) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const ProgramResult result = Dump(dir.Path("x.psl"), {"--kind", "ld", "--key", "258"});
  ASSERT_EQ(result.status, 0) << result.err;
  const std::vector<std::string> lines = Lines(result.out);
  ASSERT_EQ(lines.size(), 6U) << result.out;
  EXPECT_EQ(lines[0],
            "time (local)        kind    key  valid busy % group     ops/s 1st mean/op       max "
            "2nd mean/op volume/1024/s ops/s max");
  EXPECT_EQ(lines[1],
            "2024-01-01 00:59:00 ld      258    yes  36.00     1      1.14           0         0 "
            "          0          0.00      1.50");
  EXPECT_EQ(lines[2],
            "                                                  2      2.00         450      9000 "
            "       4096          8.00      4.00");
  // The third group has no extremes in this file.
  EXPECT_EQ(lines[3],
            "                                                  3      0.00           0         0 "
            "          0          0.00");
  EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
}

TEST(PsltoolDump, WideTablesHaveAllColumns) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const auto head = [&](std::vector<std::string> more) {
    more.insert(more.end(), {"--kind", "ld", "--key", "258"});
    return Lines(Dump(dir.Path("x.psl"), more).out).at(0);
  };
  EXPECT_EQ(head({"--wide"}),
            "time (local)        kind    key status interval ms  valid compact busy % busy % max "
            "sticky group       ops     ops/s 1st mean/op       max 2nd mean/op volume/1024/s "
            "ops/s max");
  // The words are asked for to be seen.
  const std::string raw = head({"--raw"});
  for (const char* column : {"offset", "ratio", "q0", "q3", "x0", "word_bit11", "compact"}) {
    EXPECT_NE(EndOf(raw, column), 0U) << column << ": " << raw;
  }
}

// What does not fit makes its column wider, with a new head; other rows keep their places.
TEST(PsltoolDump, LargeNumbersMakeTheirColumnsWider) {
  TempDir dir;
  Bytes large = FullDisk();
  spell::SetU32(large, 16, 0xFFFFFFFF);
  spell::SetU32(large, 4, 1000);
  Bytes file = DiskFile();
  for (const Bytes& disk : {FullDisk(), large, FullDisk()}) {
    file += spell::StatisticsOfDisks(0x1D, spell::kNewYear + 7200, 3,
                                     disk + CompactDisk() + InvalidDisk());
  }
  dir.Write("x.psl", file);
  const std::vector<std::string> lines =
      Lines(Dump(dir.Path("x.psl"), {"--kind", "ld", "--key", "258", "--wide"}).out);
  ASSERT_EQ(std::count_if(lines.begin(), lines.end(), IsHead), 1);
  const size_t end = EndOf(lines[0], "ops/s");
  for (const size_t line : {1U, 6U, 11U, 16U}) EXPECT_EQ(lines[line][end - 3], '.') << lines[line];
  EXPECT_NE(lines[11].find(" 549755813632 "), std::string::npos) << lines[11];
}

}  // namespace
