// `psltool dump`: the entries asked for by time, kind and key, what is told when there are none,
// and what is refused.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/dump_run.h"

namespace {

TEST(PsltoolDump, TimesAndKeysChooseEntries) {
  TempDir dir;
  dir.Write("x.psl", DiskFile({spell::kNewYear, spell::kNewYear + 3600, spell::kNewYear + 7200,
                               spell::kNewYear + spell::kDay}));
  const auto count = [&](std::vector<std::string> options, const std::string& zone = "UTC") {
    options.insert(options.end(), {"--format", "ndjson", "--kind", "ld", "--key", "7"});
    const ProgramResult result = Dump(dir.Path("x.psl"), options, zone);
    EXPECT_EQ(result.status, 0) << result.err;
    return Lines(result.out).size();
  };
  EXPECT_EQ(count({}), 4U);
  EXPECT_EQ(count({"--to", "2024-01-01"}), 3U);
  EXPECT_EQ(count({"--from", "2024-01-01 01:00"}), 3U);
  EXPECT_EQ(count({"--from", "2024-01-01T00:00:01", "--to", "2024-01-01 01:00"}), 1U);
  EXPECT_EQ(count({"--from", "@1704067201", "--to", "@1704070800"}), 1U);
  EXPECT_EQ(count({"--from", "2024-01-01 06:30"}, "Asia/Kolkata"), 3U);
  EXPECT_EQ(count({"--utc", "--from", "2024-01-01 06:30"}, "Asia/Kolkata"), 1U);
}

TEST(PsltoolDump, NothingOfTheTimeOrKeyIsTold) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const std::string file = dir.Path("x.psl");
  for (const char* format : {"table", "csv", "ndjson"}) {
    const ProgramResult late = Dump(file, {"--from", "2025-01-01", "--format", format});
    EXPECT_EQ(late.status, 1);
    EXPECT_EQ(late.err, "psltool: " + file +
                            ": no record lies in the time from 2025-01-01 (local); psltool info "
                            "tells what time a file spans\n");
    const ProgramResult key = Dump(file, {"--kind", "ld", "--key", "4711", "--format", format});
    EXPECT_EQ(key.status, 1);
    EXPECT_EQ(key.err, "psltool: " + file +
                           ": no record holds ld 4711; without --key all of the kind are put "
                           "out\n");
  }
  // Keys of optional items are compared as text.
  EXPECT_EQ(Dump(file, {"--kind", "wait-time", "--key", "4711"}).status, 1);
  // A kind that the array does not have is no mistake.
  const ProgramResult kind = Dump(file, {"--kind", "rank"});
  EXPECT_EQ(kind.status, 0);
  EXPECT_EQ(kind.err, "");
  const ProgramResult reversed =
      Dump(file, {"--from", "2024-01-02", "--to", "2024-01-01", "--format", "csv"});
  EXPECT_EQ(reversed.status, 2);
  EXPECT_EQ(reversed.out, "");
  EXPECT_EQ(reversed.err, "psltool: dump --from: '2024-01-02' is after --to '2024-01-01'\n");
}

TEST(PsltoolDump, WhatCannotBeAskedForIsRefused) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  dir.Write("old.psl", spell::Log({.revision = 0x10}, {spell::kNewYear}));
  const std::string file = dir.Path("x.psl");
  for (const auto& options :
       std::vector<std::vector<std::string>>{{"--kind", "disk"},
                                             {"--key", "7"},
                                             {"--kind", "ld", "--kind", "pd", "--key", "7"},
                                             {"--kind", "ld", "--key", "1.2"},
                                             {"--from", "soon"},
                                             {"--to", "2024-02-30"},
                                             {"--from", "2024-01-01 25:00"},
                                             {"--from", "1969-12-31 23:00", "--utc"},
                                             {"--format", "xml"}}) {
    const ProgramResult result = Dump(file, options);
    EXPECT_EQ(result.status, 2) << options[0] << " " << options.back();
    EXPECT_NE(result.err, "");
    EXPECT_EQ(result.out, "");
  }
  const ProgramResult lacking = Dump(dir.Path("old.psl"), {"--kind", "pool"});
  EXPECT_EQ(lacking.status, 2);
  EXPECT_EQ(lacking.err,
            "psltool: " + dir.Path("old.psl") + ": files of revision 0x10 hold no pool\n");
  EXPECT_EQ(Dump(dir.Path("none.psl"), {}).status, 2);
}

}  // namespace
