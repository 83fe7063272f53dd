// `psltool dump`: what it makes of entries whose bytes are spelled out, in every form of output.
#include <gtest/gtest.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/dump_run.h"

namespace {

using nlohmann::json;
using spell::Bytes;

TEST(PsltoolDump, CsvOfLogicalDisks) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const ProgramResult result =
      Dump(dir.Path("x.psl"), {"--kind", "ld", "--format", "csv", "--utc"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(
      result.out,
      "time,stamp,begin,end,kind,key,status,interval_ms,valid,compact,busy_pct,busy_pct_max,sticky,"
      "g1_ops,g1_ops_per_s,g1_first_mean,g1_max,g1_second_mean,g1_kvolume_per_s,"
      "g1_ops_per_s_max,"
      "g2_ops,g2_ops_per_s,g2_first_mean,g2_max,g2_second_mean,g2_kvolume_per_s,"
      "g2_ops_per_s_max,"
      "g3_ops,g3_ops_per_s,g3_first_mean,g3_max,g3_second_mean,g3_kvolume_per_s,"
      "g4_ops,g4_ops_per_s,g4_first_mean,g4_max,g4_second_mean,g4_kvolume_per_s,"
      "g5_ops,g5_ops_per_s,g5_first_mean,g5_max,g5_second_mean,g5_kvolume_per_s\n"
      "2024-01-01T00:59:00Z,1704070740,2024-01-01T00:00:00Z,2024-01-01T00:59:00Z,ld,258,9,3600000,"
      "true,false,36,81,true,"
      "4096,1.1377777777777778,0,0,0,0,1.5,7200,2,450,9000,4096,8,4,"
      "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0\n"
      "2024-01-01T00:59:00Z,1704070740,2024-01-01T00:00:00Z,2024-01-01T00:59:00Z,ld,7,1,1800000,"
      "true,true,,,false,"
      "0,0,,,,0,0,0,0,,,,0,0,0,0,,,,0,0,0,,,,0,0,0,,,,0\n"
      "2024-01-01T00:59:00Z,1704070740,2024-01-01T00:00:00Z,2024-01-01T00:59:00Z,ld,8,9,3600000,"
      "false,false,,,true,"
      ",,,,,,,,,,,,,,,,,,,,,,,,,,,,,,,\n");
}

TEST(PsltoolDump, JsonLinesWithRawWords) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const ProgramResult result =
      Dump(dir.Path("x.psl"), {"--format", "ndjson", "--raw", "--key", "258", "--kind", "ld"},
           "Asia/Kolkata");
  ASSERT_EQ(result.status, 0) << result.err;
  ASSERT_EQ(Lines(result.out).size(), 1U);
  const json entry = json::parse(result.out);
  EXPECT_EQ(entry["time"], "2024-01-01T06:29:00+05:30");
  EXPECT_EQ(entry["stamp"], 1704070740);
  EXPECT_EQ(entry["key"], "258");
  EXPECT_EQ(entry["ratio"], 3600);
  EXPECT_EQ(entry["busy_pct"], 36);
  EXPECT_EQ(entry["g1_q0"], 0x80000010);
  EXPECT_EQ(entry["g1_ops"], 4096);
  EXPECT_EQ(entry["g2_q3"], 4096);
  EXPECT_EQ(entry["g1_x0"], 1500);
  EXPECT_EQ(entry["g1_ops_per_s_max"], 1.5);
  EXPECT_EQ(entry["word_bit11"], 8100);
  const Bytes file = DiskFile();
  const size_t offset = entry["offset"];
  EXPECT_EQ(file.substr(offset, FullDisk().size()), FullDisk());
}

// Wild words make rates beyond 64 bits, which the table once turned into integers.
TEST(PsltoolDump, RatesBeyondAnyIntegerArePrinted) {
  TempDir dir;
  Bytes disk(96, '\0');
  spell::SetU32(disk, 4, 1);  // a millisecond
  spell::SetU16(disk, 8, 0x0101);
  spell::SetU32(disk, 16, 0xFFFFFFFF);
  spell::SetU32(disk, 28, 0xFFFFFFFF);
  dir.Write("x.psl", spell::HeaderRecord({}) + spell::Structure(0x1D) +
                         spell::StatisticsOfDisks(0x1D, spell::kNewYear, 1, disk));
  const ProgramResult result = Dump(dir.Path("x.psl"), {"--wide"});
  EXPECT_EQ(result.status, 0) << result.err;
  // (2^31 - 1) * 256 operations of 2^32 - 1 each, in 1/1024 per second
  EXPECT_NE(result.out.find(" 549755813632000.00 "), std::string::npos) << result.out;
  EXPECT_NE(result.out.find(" 2305843007603"), std::string::npos) << result.out;
}

// Up to 0x12 the second average is one over time, so that it makes no rate with the count.
TEST(PsltoolDump, OlderRevisionsHaveNoVolumeRate) {
  TempDir dir;
  spell::Header header;
  header.revision = 0x12;
  header.bitmaps = {{40, 0xF0000000}};
  Bytes disk(96 + 16, '\0');
  spell::SetU32(disk, 4, 60000);
  spell::SetU16(disk, 8, 0x0101);
  spell::SetU32(disk, 16, 600);
  spell::SetU32(disk, 28, 77);
  spell::SetU32(disk, 96, 12000);
  spell::SetU32(disk, 104, 99);
  dir.Write("x.psl", spell::HeaderRecord(header) + spell::Structure(0x12) +
                         spell::StatisticsOfDisks(0x12, spell::kNewYear, 1, disk));
  const json entry = json::parse(Dump(dir.Path("x.psl"), {"--format", "ndjson"}).out);
  EXPECT_EQ(entry.count("g1_kvolume_per_s"), 0U);
  EXPECT_EQ(entry["g1_ops_per_s"], 10);
  EXPECT_EQ(entry["g1_second_mean"], 77);
  EXPECT_EQ(entry["g1_ops_per_s_max"], 12);
  EXPECT_EQ(entry["g1_second_mean_max"], 99);
}

// Idle entries had a rate of operations of 0 but none of volume, so that averages over the rows of
// a resource were too high. Up to 0x12 the extremes of the second average are none of a rate.
TEST(PsltoolDump, IdleEntriesHaveRatesOfZeroAndSoHaveTheirExtremes) {
  TempDir dir;
  Bytes disk = CompactDisk();
  spell::SetU8(disk, 13, 0x01);  // ratio present
  const auto entry = [&](uint8_t revision, size_t mask_at) {
    spell::Header header;
    header.revision = revision;
    header.bitmaps = {{mask_at, 0xFFFFFC00}};
    dir.Write("x.psl", spell::HeaderRecord(header) +
                           spell::Structure(revision, {.logical_disks = 1}) +
                           spell::StatisticsOfDisks(revision, spell::kNewYear, 1, disk));
    return json::parse(
        Dump(dir.Path("x.psl"), {"--kind", "ld", "--key", "7", "--format", "ndjson"}).out);
  };
  json idle = entry(0x1D, 64);
  for (const char* zero : {"g1_ops", "g1_ops_per_s", "g1_kvolume_per_s", "g1_ops_per_s_max",
                           "g5_ops_per_s_min", "g5_kvolume_per_s_max", "g1_kvolume_per_s_min",
                           "busy_pct", "busy_pct_max", "busy_pct_min"}) {
    EXPECT_EQ(idle[zero], 0) << zero;
  }
  for (const char* none : {"g1_first_mean", "g1_max", "g1_second_mean"}) {
    EXPECT_TRUE(idle[none].is_null()) << none;
  }
  json older = entry(0x12, 40);
  EXPECT_EQ(older["g1_ops_per_s_max"], 0);
  EXPECT_TRUE(older["g1_second_mean_max"].is_null());
  spell::SetU32(disk, 4, 0);  // an interval of no length has no rates
  idle = entry(0x1D, 64);
  for (const char* none : {"g1_ops_per_s", "g1_kvolume_per_s", "g1_kvolume_per_s_max"}) {
    EXPECT_TRUE(idle[none].is_null()) << none;
  }
}

// The archiver lets the fields of 0x21 count in modules that are not valid, the others not. The
// dump had it the other way round: the first ratio but not the groups.
TEST(PsltoolDump, CacheModulesThatAreNotValidHaveTheLaterFieldsOnly) {
  TempDir dir;
  Bytes record = spell::Statistics(0x21, {.all_kinds = true});
  const size_t cache = spell::GetU32(record, 76);
  spell::SetU32(record, cache + 4, 1000);
  spell::SetU8(record, cache + 9, 1);
  for (const size_t at : {16U, 18U, 20U, 22U}) spell::SetU16(record, cache + at, 100);
  for (const size_t at : {24U, 28U, 32U, 80U, 96U, 112U}) spell::SetU32(record, cache + at, 100);
  dir.Write("x.psl", spell::HeaderRecord({.revision = 0x21}) +
                         spell::Structure(0x21, {.all_kinds = true}) + record);
  json module = json::parse(Dump(dir.Path("x.psl"), {"--format", "ndjson", "--kind", "cache"}).out);
  EXPECT_EQ(module["valid"], false);
  for (const char* none :
       {"first_pct", "first_max", "g1_ops", "g4_ops", "g4_ops_per_s", "g4_kvolume_per_s"}) {
    EXPECT_TRUE(module[none].is_null()) << none;
  }
  EXPECT_EQ(module["second_pct"], 1);
  for (const char* there : {"second_max", "first_rate", "second_rate", "g5_ops", "g6_ops",
                            "g5_ops_per_s", "g6_ops_per_s"}) {
    EXPECT_EQ(module[there], 100) << there;
  }
  EXPECT_EQ(module["g6_kvolume_per_s"], 0);
}

TEST(PsltoolDump, CacheModulesAndOptionalItems) {
  TempDir dir;
  Bytes record = spell::Statistics(0x21, {.all_kinds = true});
  const size_t cache = spell::GetU32(record, 76);
  spell::SetU8(record, cache + 10, 0x81);
  spell::SetU16(record, cache + 16, 1234);
  spell::SetU16(record, cache + 18, 55);
  spell::SetU16(record, cache + 20, 10000);
  spell::SetU32(record, cache + 28, 66);
  spell::SetU32(record, cache + 112, 42);  // the sixth group
  dir.Write("x.psl", spell::HeaderRecord({.revision = 0x21}) +
                         spell::Structure(0x21, {.all_kinds = true}) + record);
  const auto entry = [&](const char* kind) {
    return json::parse(
        Dump(dir.Path("x.psl"), {"--format", "ndjson", "--kind", kind, "--raw"}).out);
  };
  const json module = entry("cache");
  EXPECT_EQ(module["first_pct"], 12.34);
  EXPECT_EQ(module["first_max"], 55);
  EXPECT_EQ(module["second_pct"], 100);
  EXPECT_EQ(module["second_rate"], 66);
  EXPECT_EQ(module["flags"], 0x81);
  EXPECT_EQ(module["g6_ops"], 42);
  EXPECT_EQ(entry("conc")["present"], true);
  EXPECT_EQ(entry("conc")["key"], "1");
  EXPECT_EQ(entry("ld-cp")["key"], "0.1.0.0");
  EXPECT_EQ(entry("wait-time")["key"], "257");
  EXPECT_EQ(entry("wait-time")["g1_ops"], 0);
  EXPECT_EQ(entry("cab")["value"], 0);
  EXPECT_EQ(entry("pool-cp")["bytes"].get<std::string>().size(), 96U);
  // One line of each kind; ranks are carried here, pools not.
  EXPECT_EQ(Lines(Dump(dir.Path("x.psl"), {"--format", "ndjson"}).out).size(), 13U + 5U);
}

// An "LDM" record in a 0x10 log makes its archive hold records of two layouts.
TEST(PsltoolDump, ArchivesOfTwoLayouts) {
  TempDir dir;
  const ProgramSettings here = {dir.Path(), {}};
  ASSERT_EQ(RunProgram(PSLTOOL_PATH,
                       {"make", "--revision", "0x10", "--ld", "3", "--pd", "2", "--interval",
                        "3600", "--ldm", "1", "-q"},
                       here)
                .status,
            0);
  ASSERT_EQ(RunProgram(QELPRFARC_PATH, {"20240304array01.psl"}, here).status, 0);
  const ProgramResult result =
      Dump(dir.Path("20240304array01.psa"), {"--kind", "pd", "--kind", "ld", "--format", "csv"});
  ASSERT_EQ(result.status, 0) << result.err;
  const std::vector<std::string> lines = Lines(result.out);
  EXPECT_EQ(lines.size(), 1U + 24 * 5);
  const auto columns = std::count(lines[0].begin(), lines[0].end(), ',');
  for (const std::string& line : lines) {
    EXPECT_EQ(std::count(line.begin(), line.end(), ','), columns) << line;
  }
  // Entries of the later layout once had its ratio, marks and carried word, which files of 0x10 do
  // not have.
  for (const char* none : {"busy", "sticky", "word_at"}) {
    EXPECT_EQ(lines[0].find(none), std::string::npos) << none;
  }
  // The record in front of the "LDM" has the word of the ratio all the same.
  int with_word = 0;
  for (const std::string& line :
       Lines(Dump(dir.Path("20240304array01.psa"), {"--kind", "pd", "--format", "ndjson", "--raw"})
                 .out)) {
    with_word += json::parse(line).contains("ratio") ? 1 : 0;
  }
  EXPECT_EQ(with_word, 2);
}

}  // namespace
