// `psltool info`: what it says of files whose bytes are spelled out, and of real archives.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

namespace {

using nlohmann::json;
using spell::Bytes;

ProgramResult Info(std::vector<std::string> arguments, const std::string& zone = "UTC") {
  arguments.insert(arguments.begin(), "info");
  return RunProgram(PSLTOOL_PATH, arguments, {"", {{"TZ", zone}}});
}

json KindOf(const json& file, const std::string& word) {
  for (const json& kind : file["kinds"]) {
    if (kind["kind"] == word) return kind;
  }
  return {};
}

Bytes Sample() {
  spell::Header header;
  header.revision = 0x1D;
  header.time = spell::kNewYear;
  header.bitmaps = {{64, 0xF0000000}};  // Ld: four words
  Bytes file = spell::HeaderRecord(header) +
               spell::Structure(0x1D, {.logical_disks = 3, .all_kinds = true}) +
               spell::FixedRecord("NNC", 80);
  // The section of logical disks has its words behind each entry; only the head is looked at.
  for (const uint32_t time : {0U, 300U, 600U, 1200U}) {
    file += spell::Statistics(
        0x1D, {.time = spell::kNewYear + time, .logical_disks = 3, .all_kinds = true});
  }
  return file + spell::Structure(0x1D, {.logical_disks = 5, .all_kinds = true});
}

TEST(PsltoolInfo, JsonOfALog) {
  TempDir dir;
  dir.Write("20240101array7#002.psl", Sample());
  const ProgramResult result = Info({"--json", "--utc", dir.Path("20240101array7#002.psl")});
  ASSERT_EQ(result.status, 0) << result.err;
  const json file = json::parse(result.out).at(0);
  EXPECT_EQ(file["revision"], "0x1D");
  EXPECT_EQ(file["level"], "L");
  EXPECT_EQ(file["array"], "array7");
  EXPECT_EQ(file["name_date"], "2024-01-01");
  EXPECT_EQ(file["header_date"], "2024-01-01");
  EXPECT_EQ(file["header_time"], "2024-01-01T00:00:00Z");
  EXPECT_EQ(file["size"], Sample().size());
  EXPECT_EQ(file["records"], (json{{"CON", 2}, {"NNC", 1}, {"STA", 4}}));
  EXPECT_EQ(file["first"], "2024-01-01T00:00:00Z");
  EXPECT_EQ(file["last"], "2024-01-01T00:20:00Z");
  EXPECT_EQ(file["interval_s"]["usual"], 300);
  EXPECT_EQ(file["interval_s"]["usual_pairs"], 2);
  EXPECT_EQ(file["interval_s"]["pairs"], 3);
  EXPECT_EQ(file["interval_s"]["longest"], 600);
  const json disks = KindOf(file, "ld");
  EXPECT_EQ(disks["least"], 3);
  EXPECT_EQ(disks["most"], 5);
  EXPECT_EQ(disks["mask"], "F0000000");
  EXPECT_EQ(disks["words"], 4);
  EXPECT_EQ(KindOf(file, "hpnode")["most"], 1);
  EXPECT_EQ(KindOf(file, "pool")["most"], 0);
  EXPECT_EQ(KindOf(file, "rank")["most"], 1);
  EXPECT_EQ(KindOf(file, "conc")["most"], 1);
  EXPECT_EQ(KindOf(file, "wait-time")["most"], 5);
  EXPECT_EQ(KindOf(file, "wait-time").count("mask"), 0U);
  EXPECT_TRUE(file["trouble"].is_null());
}

TEST(PsltoolInfo, TableForPeople) {
  TempDir dir;
  dir.Write("20240101array7.psl", Sample());
  const ProgramResult result = Info({dir.Path("20240101array7.psl")}, "Asia/Kolkata");
  ASSERT_EQ(result.status, 0) << result.err;
  for (const char* line :
       {"  format revision    0x1D\n", "  level              L (log)\n",
        "  array              array7\n", "  records            2 CON, 1 NNC, 4 STA\n",
        "  from (local)       2024-01-01 05:30:00\n",
        "  interval           300 s (2 of 3; shortest 300 s, longest 600 s)\n",
        "  ld                 3 to 5  F0000000      4      22\n"}) {
    EXPECT_NE(result.out.find(line), std::string::npos) << line << result.out;
  }
  EXPECT_EQ(result.out.find('\x1b'), std::string::npos);
}

TEST(PsltoolInfo, KindsAreThoseOfTheRevision) {
  TempDir dir;
  dir.Write("20240101a.psl", spell::Log({.revision = 0x10}, {spell::kNewYear}, true));
  const json file = json::parse(Info({"--json", dir.Path("20240101a.psl")}).out).at(0);
  EXPECT_EQ(file["kinds"].size(), 4U);  // Hp, Dp, Ld, Pd
  EXPECT_TRUE(file["header_date"].is_null());
  EXPECT_TRUE(file["interval_s"].is_null());
}

TEST(PsltoolInfo, ABrokenFileIsToldUpToThePlace) {
  TempDir dir;
  dir.Write("20240101a.psl", Sample() + "STA");
  const ProgramResult result = Info({dir.Path("20240101a.psl")});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.out.find("2 CON, 1 NNC, 4 STA"), std::string::npos) << result.out;
  EXPECT_NE(result.err.find("record 8 at offset " + std::to_string(Sample().size())),
            std::string::npos)
      << result.err;
  EXPECT_NE(result.err.find("; psltool check tells all findings, psltool salvage saves"),
            std::string::npos)
      << result.err;
  const ProgramResult as_json = Info({"--json", dir.Path("20240101a.psl")});
  EXPECT_EQ(as_json.status, 1);
  EXPECT_EQ(json::parse(as_json.out)[0]["trouble"]["offset"], Sample().size());
}

TEST(PsltoolInfo, FilesThatAreNoneAreRefusedOneByOne) {
  TempDir dir;
  dir.Write("good.psl", Sample());
  dir.Write("bad.psl", "not a log, not an archive");
  const ProgramResult result =
      Info({dir.Path("bad.psl"), dir.Path("none.psl"), dir.Path("good.psl")});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.out.find("good.psl"), std::string::npos);
  EXPECT_NE(result.err.find("bad.psl: record 0 (not) at offset 0, tag: "), std::string::npos)
      << result.err;
  EXPECT_NE(result.err.find("none.psl: cannot be opened"), std::string::npos);
  EXPECT_EQ(Info({dir.Path("bad.psl")}).status, 1);
  EXPECT_EQ(Info({}).status, 2);
}

// Made, archived by the program, looked into: a log, its hour archive, the month's day archive.
class PsltoolInfoArchives : public testing::TestWithParam<const char*> {};

TEST_P(PsltoolInfoArchives, LevelsAndCountsAreRight) {
  TempDir dir;
  ASSERT_EQ(RunProgram(PSLTOOL_PATH, {"make", "--revision", GetParam(), "--ld", "5", "--interval",
                                      "900", "--hp", "3", "-q", "--utc", "-o", dir.Path()})
                .status,
            0);
  const ProgramSettings here = {dir.Path(), {}};
  ASSERT_EQ(RunProgram(QELPRFARC_PATH, {"20240304array01.psl"}, here).status, 0);
  ASSERT_EQ(RunProgram(QELPRFARC_PATH, {"20240304array01.psa"}, here).status, 0);
  const json all =
      json::parse(Info({"--json", dir.Path("20240304array01.psl"), dir.Path("20240304array01.psa"),
                        dir.Path("202403array01.psa")})
                      .out);
  const std::vector<std::string> levels = {"L", "H", "D"};
  const std::vector<int> records = {96, 24, 1};
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(all[i]["level"], levels[i]);
    EXPECT_EQ(all[i]["records"]["STA"], records[i]);
    EXPECT_EQ(all[i]["array"], "array01");
    EXPECT_EQ(KindOf(all[i], "ld")["most"], 5);
    EXPECT_EQ(KindOf(all[i], "hp")["most"], 3);
  }
  EXPECT_EQ(all[2]["name_date"], "2024-03");
  EXPECT_EQ(all[1]["interval_s"]["usual"], 3600);
}

INSTANTIATE_TEST_SUITE_P(Revisions, PsltoolInfoArchives,
                         testing::Values("0x10", "0x13", "0x15", "0x18", "0x19", "0x1A", "0x1C",
                                         "0x1D", "0x21"),
                         [](const auto& revision) {
                           return std::string("Revision") + revision.param;
                         });

}  // namespace
