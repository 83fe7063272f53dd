// `psltool make`: the same options make the same bytes, headers and sections hold the counts asked
// for, and what cannot be is refused.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/made_records.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/tempdir.h"

namespace {

using spell::Bytes;
using spell::GetU16;
using spell::GetU32;
using spell::GetU8;

constexpr uint32_t kMonday = 0x65E50F00;  // 2024-03-04 00:00:00 UTC
constexpr size_t kLongHeader = 256;

ProgramResult Make(const TempDir& dir, std::vector<std::string> options,
                   const ProgramSettings& settings = {}) {
  options.insert(options.begin(), "make");
  options.insert(options.end(), {"-o", dir.Path("logs")});
  return RunProgram(PSLTOOL_PATH, options, settings);
}

std::string Log(const TempDir& dir, const std::string& name) { return dir.Read("logs/" + name); }

TEST(PsltoolMake, SameOptionsMakeTheSameBytes) {
  TempDir one;
  TempDir two;
  TempDir other;
  const std::vector<std::string> options = {"--seed", "7", "--interval", "1800"};
  ASSERT_EQ(Make(one, options).status, 0);
  ASSERT_EQ(Make(two, options).status, 0);
  ASSERT_EQ(Make(other, {"--seed", "8", "--interval", "1800"}).status, 0);
  const std::string name = "20240304array01.psl";
  ASSERT_GT(Log(one, name).size(), 10000U);
  EXPECT_EQ(Log(one, name), Log(two, name));
  EXPECT_NE(Log(one, name), Log(other, name));
}

TEST(PsltoolMake, HeaderOfTheNewestRevision) {
  TempDir dir;
  ASSERT_EQ(Make(dir, {"--interval", "43200", "--extended", "full"}).status, 0);
  const Bytes header = Log(dir, "20240304array01.psl").substr(0, kLongHeader);
  EXPECT_EQ(header.substr(0, 3), "HDR");
  EXPECT_EQ(GetU8(header, 3), 0x21U);
  EXPECT_EQ(GetU32(header, 4), kMonday);
  EXPECT_EQ(GetU32(header, 8), 256U);
  EXPECT_EQ(header[12], 'L');
  const std::vector<uint32_t> bitmaps = {
      0xC0000000,  // 32: Hd
      0xC0000000,  // 36: Rd
      0xC0000000,  // 40: Dd
      0xFFFFFC00,  // 44: Hp
      0xFFFFFFC0,  // 48: Rp
      0xFFC00000,  // 52: Dp
      0,           // 56: reserved
      0xFFFFF000,  // 60: Cheseg
      0xFFFFFC00,  // 64: Ld
      0xFFC00000,  // 68: Pd
      0xFFC00000,  // 72: Rank
      0xFFC00000,  // 76: Pool
      0xFFFFFC00,  // 80: HpNode
      0xFFC00000,  // 84: Mp
  };
  for (size_t i = 0; i < bitmaps.size(); ++i) {
    EXPECT_EQ(GetU32(header, 32 + 4 * i), bitmaps[i]) << "bitmap at " << 32 + 4 * i;
  }
  EXPECT_EQ(GetU8(header, 132), 124U);  // 2024
  EXPECT_EQ(GetU8(header, 133), 2U);    // March
  EXPECT_EQ(GetU8(header, 134), 4U);
}

TEST(PsltoolMake, CountsOfTheNewestRevision) {
  TempDir dir;
  ASSERT_EQ(Make(dir, {"--none", "--ld", "3", "--pd", "2", "--pool", "1", "--rank", "5",
                       "--profile", "flat", "--interval", "21600"})
                .status,
            0);
  const std::vector<Bytes> records = Records(Log(dir, "20240304array01.psl"));
  ASSERT_EQ(records.size(), 6U);  // header, structure, a statistics record for each six hours

  const Bytes& structure = records[1];
  EXPECT_EQ(structure.substr(0, 3), "CON");
  EXPECT_EQ(GetU8(structure, 12), 0U);  // the first file continues nothing
  // 16: basic information, 112 bytes at 256
  EXPECT_EQ(structure.substr(16, 8), Bytes("\x00\x70\x00\x01\x00\x00\x01\x00", 8));
  // 128: four entries of 4 bytes behind it, at 368
  EXPECT_EQ(structure.substr(128, 8), Bytes("\x00\x04\x00\x04\x00\x00\x01\x70", 8));
  // 24: no Hd; the running offset 384
  EXPECT_EQ(structure.substr(24, 8), Bytes("\x00\x04\x00\x00\x00\x00\x01\x80", 8));
  // 88: three logical disks of 64 bytes and 2, 4 and 6 bytes of logical-volume numbers
  EXPECT_EQ(structure.substr(88, 8), Bytes("\x00\x40\x00\x03\x00\x00\x01\x80", 8));
  EXPECT_EQ(GetU32(structure, 384 + 52), 66U);
  EXPECT_EQ(GetU16(structure, 384 + 66), 1U);  // number of the second disk
  EXPECT_EQ(GetU32(structure, 384 + 66 + 52), 68U);
  // 96: two physical disks of 48 bytes, behind 384 + 192 + 12
  EXPECT_EQ(structure.substr(96, 8), Bytes("\x00\x30\x00\x02\x00\x00\x02\x4C", 8));
  // 104: four entries of 16 bytes, in logs only
  EXPECT_EQ(structure.substr(104, 8), Bytes("\x00\x10\x00\x04\x00\x00\x02\xAC", 8));
  // 112: five ranks, not carried
  EXPECT_EQ(structure.substr(112, 8), Bytes("\x00\x20\x00\x05\x00\x00\x00\x00", 8));
  EXPECT_EQ(GetU8(structure, 256 + 95), 1U);  // pools are
  // 120: one pool of 64 bytes, as the descriptor says
  EXPECT_EQ(structure.substr(120, 8), Bytes("\x00\x40\x00\x01\x00\x00\x02\xEC", 8));

  uint32_t stamp = kMonday;
  for (size_t i = 2; i < records.size(); ++i, stamp += 21600) {
    const Bytes& statistics = records[i];
    EXPECT_EQ(statistics.substr(0, 3), "STA");
    EXPECT_EQ(GetU32(statistics, 4), stamp);
    EXPECT_EQ(statistics.size(), 256U + 3 * 96 + 2 * 64 + 64);
    EXPECT_EQ(statistics.substr(88, 8), Bytes("\x00\x60\x00\x03\x00\x00\x01\x00", 8));   // Ld
    EXPECT_EQ(statistics.substr(96, 8), Bytes("\x00\x40\x00\x02\x00\x00\x02\x20", 8));   // Pd
    EXPECT_EQ(statistics.substr(112, 8), Bytes("\x00\x40\x00\x05\x00\x00\x00\x00", 8));  // Rank
    EXPECT_EQ(statistics.substr(120, 8), Bytes("\x00\x40\x00\x01\x00\x00\x02\xA0", 8));  // Pool
    for (uint32_t disk = 0; disk < 3; ++disk) {
      const size_t at = 256 + size_t{disk} * 96;
      EXPECT_EQ(GetU32(statistics, at + 4), 21600000U);  // milliseconds
      EXPECT_EQ(GetU16(statistics, at + 8), disk);
      EXPECT_EQ(GetU8(statistics, at + 10), 0U);  // full
      EXPECT_EQ(GetU8(statistics, at + 11), 0U);  // valid
      for (size_t group = at + 16; group < at + 96; group += 16) {
        EXPECT_GT(GetU32(statistics, group), 0U);                                 // operations
        EXPECT_GE(GetU32(statistics, group + 8), GetU32(statistics, group + 4));  // mean, maximum
      }
    }
  }
}

TEST(PsltoolMake, CountsOfTheOldestRevision) {
  TempDir dir;
  ASSERT_EQ(Make(dir, {"--revision", "0x10", "--none", "--hp", "2", "--dp", "1", "--ld", "3",
                       "--pd", "2", "--profile", "flat", "--interval", "43200"})
                .status,
            0);
  const std::vector<Bytes> records = Records(Log(dir, "20240304array01.psl"));
  ASSERT_EQ(records.size(), 4U);
  EXPECT_EQ(records[0].size(), 80U);
  EXPECT_EQ(records[1].size(), 192U + 4 * (2 + 1) + 48 * (3 + 2));
  EXPECT_EQ(records[2].size(), 80U + 2 * 64 + 48 + 3 * 96 + 2 * 48);
  EXPECT_EQ(GetU16(records[2], 24 + 2), 2U);  // Hp
  EXPECT_EQ(GetU16(records[2], 32 + 2), 1U);  // Dp
  EXPECT_EQ(GetU16(records[2], 40 + 2), 3U);  // Ld
  EXPECT_EQ(GetU16(records[2], 48 + 2), 2U);  // Pd
}

TEST(PsltoolMake, IdleResourcesAreCompact) {
  TempDir dir;
  ASSERT_EQ(Make(dir, {"--none", "--ld", "4", "--pd", "3", "--profile", "idle", "--interval",
                       "43200", "--extended", "full"})
                .status,
            0);
  const std::vector<Bytes> records = Records(Log(dir, "20240304array01.psl"));
  ASSERT_EQ(records.size(), 4U);
  EXPECT_EQ(records[2].size(), 256U + 4 * 16 + 3 * 32);
  EXPECT_EQ(GetU8(records[2], 256 + 10), 1U);
}

TEST(PsltoolMake, SomeDisksRestAtNight) {
  TempDir dir;
  ASSERT_EQ(Make(dir, {"--none", "--ld", "200", "--interval", "3600"}).status, 0);
  const std::vector<Bytes> records = Records(Log(dir, "20240304array01.psl"));
  ASSERT_EQ(records.size(), 26U);
  const size_t night = records[2 + 1].size();    // 01:00
  const size_t office = records[2 + 10].size();  // 10:00
  EXPECT_LT(night, office);
  EXPECT_LT(office, 256U + 200 * 96);  // by day the disks of the nightly batch rest
}

TEST(PsltoolMake, ExtendedWordsFollowTheBitmap) {
  TempDir full;
  TempDir partial;
  std::vector<std::string> options = {"--none",     "--ld",  "2",          "--profile", "flat",
                                      "--interval", "43200", "--extended", "full"};
  ASSERT_EQ(Make(full, options).status, 0);
  options.back() = "partial";
  ASSERT_EQ(Make(partial, options).status, 0);
  const Bytes all = Log(full, "20240304array01.psl");
  const Bytes some = Log(partial, "20240304array01.psl");
  EXPECT_EQ(GetU32(all, 64), 0xFFFFFC00U);
  EXPECT_EQ(GetU32(some, 64), 0xAAAAA800U);  // the maxima
  EXPECT_EQ(Records(all)[2].size(), 256U + 2 * (96 + 22 * 4));
  EXPECT_EQ(Records(some)[2].size(), 256U + 2 * (96 + 11 * 4));
  // Largest operation rate of the first group, not below the smallest, which follows it.
  const Bytes record = Records(all)[2];
  EXPECT_GT(GetU32(record, 256 + 96), GetU32(record, 256 + 96 + 4));
  EXPECT_GT(GetU32(record, 256 + 96 + 4), 0U);
}

TEST(PsltoolMake, FurtherRecordsAreAsManyAsAsked) {
  TempDir dir;
  ASSERT_EQ(Make(dir, {"--nnc", "3", "--ldm", "2", "--fre", "40", "--structures", "4", "--interval",
                       "3600", "--none", "--ld", "1"})
                .status,
            0);
  const std::vector<Bytes> records = Records(Log(dir, "20240304array01.psl"));
  EXPECT_EQ(CountOf(records, "HDR"), 1U);
  EXPECT_EQ(CountOf(records, "CON"), 4U);
  EXPECT_EQ(CountOf(records, "STA"), 24U);
  EXPECT_EQ(CountOf(records, "NNC"), 3U);
  EXPECT_EQ(CountOf(records, "LDM"), 2U);
  EXPECT_EQ(CountOf(records, "FRE"), 40U);
  for (const Bytes& record : records) {
    const std::string tag = record.substr(0, 3);
    EXPECT_TRUE(tag != "NNC" || record.size() == 80) << record.size();
    EXPECT_TRUE(tag != "LDM" || record.size() == 64) << record.size();
  }
}

TEST(PsltoolMake, ADayMayBreakOff) {
  TempDir whole;
  TempDir first;
  ASSERT_EQ(Make(whole, {"--interval", "3600"}).status, 0);
  ASSERT_EQ(Make(first, {"--interval", "3600", "--records", "5", "--days", "2"}).status, 0);
  const Bytes all = Log(whole, "20240304array01.psl");
  const Bytes some = Log(first, "20240304array01.psl");
  EXPECT_EQ(CountOf(Records(all), "STA"), 24U);
  EXPECT_EQ(CountOf(Records(some), "STA"), 5U);
  EXPECT_EQ(some, all.substr(0, some.size()));
  EXPECT_EQ(CountOf(Records(Log(first, "20240305array01.psl")), "STA"), 5U);
}

TEST(PsltoolMake, ADayInSeveralFilesHasTheSameStatistics) {
  TempDir whole;
  TempDir cut;
  const std::vector<std::string> options = {"--interval", "3600",  "--arrays", "2",
                                            "--name",     "tokyo", "--ld",     "5"};
  std::vector<std::string> in_three = options;
  in_three.insert(in_three.end(), {"--files-per-day", "3"});
  ASSERT_EQ(Make(whole, options).status, 0);
  ASSERT_EQ(Make(cut, in_three).status, 0);
  EXPECT_EQ(whole.Names("logs"),
            (std::vector<std::string>{"20240304tokyo01.psl", "20240304tokyo02.psl"}));
  EXPECT_EQ(cut.Names("logs"),
            (std::vector<std::string>{"20240304tokyo01#001.psl", "20240304tokyo01#002.psl",
                                      "20240304tokyo01#003.psl", "20240304tokyo02#001.psl",
                                      "20240304tokyo02#002.psl", "20240304tokyo02#003.psl"}));
  std::vector<std::string> expected;
  for (const Bytes& record : Records(Log(whole, "20240304tokyo02.psl"))) {
    if (record.substr(0, 3) == "STA") expected.push_back(record.substr(4, 4));
  }
  std::vector<std::string> found;
  for (const char* suffix : {"#001", "#002", "#003"}) {
    for (const Bytes& record :
         Records(Log(cut, std::string("20240304tokyo02") + suffix + ".psl"))) {
      if (record.substr(0, 3) == "STA") found.push_back(record.substr(4, 4));
    }
  }
  EXPECT_EQ(found, expected);
}

TEST(PsltoolMake, OldRevisionsCutLocalDaysAndNewOnesUtcDays) {
  const ProgramSettings tokyo = {.directory = "", .variables = {{"TZ", "Asia/Tokyo"}}};
  const auto stamp = [&](std::vector<std::string> options) {
    TempDir dir;
    options.insert(options.end(), {"--interval", "43200", "--none"});
    EXPECT_EQ(Make(dir, options, tokyo).status, 0);
    return GetU32(Log(dir, "20240304array01.psl"), 4);
  };
  EXPECT_EQ(stamp({"--revision", "0x1C"}), kMonday - 9 * 3600);
  EXPECT_EQ(stamp({"--revision", "0x1C", "--utc"}), kMonday);
  EXPECT_EQ(stamp({"--revision", "0x1D"}), kMonday);
  EXPECT_EQ(stamp({"--revision", "0x1D", "--local"}), kMonday - 9 * 3600);
}

// ---- refusals: the reason is told, the status is 2 for what cannot be, nothing is written ----

struct Refusal {
  const char* name;
  std::vector<std::string> options;
  const char* reason;
};

class PsltoolMakeRefuses : public testing::TestWithParam<Refusal> {};

TEST_P(PsltoolMakeRefuses, TellsWhyAndWritesNothing) {
  TempDir dir;
  const ProgramResult result = Make(dir, GetParam().options);
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find(GetParam().reason), std::string::npos) << result.err;
  EXPECT_EQ(result.out, "");
  EXPECT_FALSE(dir.Exists("logs"));
}

INSTANTIATE_TEST_SUITE_P(
    Options, PsltoolMakeRefuses,
    testing::Values(
        Refusal{"RevisionTooLow", {"--revision", "0x0F"}, "0xF is not from 0x10 to 0x21"},
        Refusal{"RevisionTooHigh", {"--revision", "0x22"}, "0x22 is not from 0x10 to 0x21"},
        Refusal{"CountTooHigh", {"--ld", "65536"}, "65536 is not a number from 0 to 65535"},
        Refusal{"CountNegative", {"--pd", "-1"}, "-1 is not a number from 0 to 65535"},
        Refusal{"TooManyCaches", {"--cache", "257"}, "257 is not a number from 0 to 256"},
        Refusal{"KindOfNewerRevision",
                {"--revision", "0x12", "--mp", "1"},
                "files of revision 0x12 hold no multi ports"},
        Refusal{"SecondSegmentKey",
                {"--revision", "0x19", "--cheseg", "257"},
                "at most 256 cache segments"},
        Refusal{"WaitTimes", {"--revision", "0x1B", "--wait-times"}, "hold no wait times"},
        Refusal{"RanksAndPools", {"--ranks", "--pools"}, "excludes"},
        Refusal{"NoSuchDay",
                {"--start", "2024-02-30"},
                "'2024-02-30' is no day: February 2024 has 29 days"},
        Refusal{"Before1970", {"--start", "1969-12-31"}, "between 1970 and 2106"},
        Refusal{"After2106", {"--start", "2106-02-01", "--days", "20"}, "between 1970 and 2106"},
        Refusal{"NameWithPoint", {"--name", "a.b"}, "'a.b' is not"},
        Refusal{"MoreFilesThanIntervals",
                {"--interval", "43200", "--files-per-day", "3"},
                "not a number from 1 to 2"},
        Refusal{"HotDiskMissing", {"--ld", "4", "--hot-ld", "4"}, "numbered from 0"},
        Refusal{"NoRecords", {"--records", "0"}, "--records"},
        Refusal{"NotANumber", {"--days", "many"}, "--days"},
        Refusal{"MoreThanAllIdle", {"--idle-share", "101"}, "--idle-share"},
        Refusal{"LessThanNoneNotValid", {"--not-valid-share", "-1"}, "--not-valid-share"},
        Refusal{"UnknownProfile", {"--profile", "calm"}, "calm"}),
    [](const testing::TestParamInfo<Refusal>& each) { return std::string(each.param.name); });

TEST(PsltoolMake, ADirectoryThatCannotBeMadeIsNamed) {
  TempDir dir;
  dir.Write("logs", "a file");
  const ProgramResult result = Make(dir, {});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find(dir.Path("logs")), std::string::npos) << result.err;
  EXPECT_EQ(dir.Read("logs"), "a file");
}

TEST(PsltoolMake, AFileThatCannotBeCreatedIsNamed) {
  const ProgramResult result = RunProgram(PSLTOOL_PATH, {"make", "-o", "/proc"});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find("/proc/20240304array01.psl: cannot be created: "), std::string::npos)
      << result.err;
}

// Where not even the message can be written, the status tells and nothing is left: this ended the
// tool with a core file once.
TEST(PsltoolMake, AFullDeviceLeavesNoFile) {
  TempDir dir;
  dir.MakeDirectory("logs");
  const std::string make = "ulimit -f 0; exec \"$0\" make -o logs";
  EXPECT_EQ(RunProgram("/bin/sh", {"-c", make, PSLTOOL_PATH}, {dir.Path(), {}}).status, 2);
  EXPECT_EQ(dir.Names("logs"), std::vector<std::string>{});
  const ProgramResult told =
      RunProgram("/bin/sh", {"-c", "{ " + make + "; } 2>&1 | cat", PSLTOOL_PATH}, {dir.Path(), {}});
  EXPECT_NE(told.out.find("20240304array01.psl: cannot be written: File too large"),
            std::string::npos)
      << told.out;
  EXPECT_EQ(dir.Names("logs"), std::vector<std::string>{});
}

}  // namespace
