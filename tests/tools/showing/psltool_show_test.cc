// `psltool show`: what its table says of a file whose bytes are spelled out here.
#include <gtest/gtest.h>

#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/export_rows.h"

namespace {

using nlohmann::json;
using spell::Bytes;

// Logical disk 0x0102, one hour: 7200 operations in the second group, 36 % busy.
Bytes FullEntry() {
  Bytes b;
  spell::U32(b, 1);        // 0: status
  spell::U32(b, 3600000);  // 4: interval length
  spell::U16(b, 0x0102);   // 8: number
  spell::U16(b, 0);        // 10: full, valid
  spell::U16(b, 0x0001);   // 12: ratio present
  spell::U16(b, 3600);     // 14: ratio
  spell::Zero(b, 16);      // 16: first group
  spell::U32(b, 7200);     // 32: second group
  spell::U32(b, 450);
  spell::U32(b, 9000);
  spell::U32(b, 4096);
  spell::Zero(b, 48);
  spell::U32(b, 111);   // word of bit 31: largest rate of the first group
  spell::U32(b, 4000);  // word of bit 27: largest rate of the second group
  return b;
}

// The same disk, idle for half an hour.
Bytes CompactEntry() {
  Bytes b;
  spell::U32(b, 1);
  spell::U32(b, 1800000);
  spell::U16(b, 0x0102);
  spell::U16(b, 0x0100);  // compact
  spell::U32(b, 0x00010000);
  return b;
}

// Another disk in front of it.
Bytes OtherEntry() {
  Bytes b = FullEntry();
  spell::SetU16(b, 8, 7);
  spell::SetU32(b, 32, 999999);
  return b;
}

Bytes Statistics(uint32_t time, const Bytes& entry) {
  return spell::StatisticsOfDisks(0x21, time, 2, OtherEntry() + entry);
}

Bytes Archive() {
  spell::Header header;
  header.revision = 0x21;
  header.level = 'H';
  header.bitmaps = {{64, 0x88000000}};  // Ld: bits 31 and 27
  return spell::HeaderRecord(header) + spell::Structure(0x21) +
         Statistics(spell::kNewYear + 3540, FullEntry()) +
         Statistics(spell::kNewYear + 5400, CompactEntry());
}

ProgramResult Show(const TempDir& dir, std::vector<std::string> options) {
  options.insert(options.begin(), {"show", dir.Path("x.psa")});
  return RunProgram(PSLTOOL_PATH, options);
}

TEST(PsltoolShow, TableOfALogicalDisk) {
  TempDir dir;
  dir.Write("x.psa", Archive());
  const ProgramResult result = Show(dir, {"--kind", "ld", "--key", "258", "--group", "2"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out,
            dir.Path("x.psa") +
                ": hour archive, revision 0x21, ld 258, counter group 2 of 5\n"
                "period (local)            min     ops/s    peak/s      mean       max busy %\n"
                "2024-01-01 00:00-01:00   60.0       2.0       4.0       450      9000  36.00  "
                "####################                   |\n"
                "2024-01-01 01:00-02:00   30.0       0.0       0.0         -         -   0.00\n");
}

TEST(PsltoolShow, AGroupWithoutItsWordHasNoPeak) {
  TempDir dir;
  dir.Write("x.psa", Archive());
  const ProgramResult result = Show(dir, {"--key", "258", "--group", "3"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out.find("peak/s"), std::string::npos);
}

struct Refusal {
  const char* name;
  std::vector<std::string> options;
  const char* reason;
};

class PsltoolShowRefuses : public testing::TestWithParam<Refusal> {};

TEST_P(PsltoolShowRefuses, TellsWhy) {
  TempDir dir;
  dir.Write("x.psa", Archive());
  const ProgramResult result = Show(dir, GetParam().options);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "psltool: " + dir.Path("x.psa") + ": " + GetParam().reason + "\n");
  EXPECT_EQ(result.out, "");
}

INSTANTIATE_TEST_SUITE_P(
    Options, PsltoolShowRefuses,
    testing::Values(
        Refusal{"NoSuchDisk", {"--key", "9"}, "no record holds ld 9"},
        Refusal{"NoKey", {"--key", "1.2"}, "'1.2' is not a key of ld"},
        Refusal{"NoGroup", {"--key", "7", "--group", "6"}, "entries of ld have 5 counter groups"}),
    [](const testing::TestParamInfo<Refusal>& each) { return std::string(each.param.name); });

TEST(PsltoolShow, AFileOfAnotherKindIsNamed) {
  TempDir dir;
  dir.Write("x.psa", Bytes("no such file, no such record"));
  const ProgramResult result = Show(dir, {});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find(dir.Path("x.psa")), std::string::npos);
}

// Cut at any length the file is shown up to there or refused, never read beyond its end.
TEST(PsltoolShow, CutFilesAreToldApart) {
  const Bytes whole = Archive();
  TempDir dir;
  for (const size_t size : {size_t{0}, size_t{11}, size_t{100}, size_t{256}, size_t{300},
                            whole.size() - 200, whole.size() - 1}) {
    dir.Write("x.psa", whole.substr(0, size));
    const ProgramResult result = Show(dir, {"--key", "258"});
    EXPECT_EQ(result.status, 1) << size;
    EXPECT_NE(result.err.find("psltool: " + dir.Path("x.psa") + ": "), std::string::npos) << size;
  }
}

// A section that claims more entries than its record holds.
TEST(PsltoolShow, ASectionThatLeavesItsRecordIsReported) {
  spell::Header header;
  header.revision = 0x21;
  header.level = 'H';
  header.bitmaps = {{64, 0x88000000}};
  Bytes record = Statistics(spell::kNewYear, FullEntry());
  spell::SetU16(record, 90, 3);
  TempDir dir;
  dir.Write("x.psa", spell::HeaderRecord(header) + spell::Structure(0x21) + record);
  const ProgramResult result = Show(dir, {"--key", "258"});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("the section leaves the record"), std::string::npos) << result.err;
}

// The ratio was shown whether the entry said that it has one or not.
TEST(PsltoolShow, ABusyRatioThatIsNotThereIsNotShown) {
  Bytes without = FullEntry();
  spell::SetU8(without, 13, 0);
  spell::Header header;
  header.revision = 0x21;
  header.level = 'H';
  header.bitmaps = {{64, 0x88000000}};
  TempDir dir;
  dir.Write("x.psa", spell::HeaderRecord(header) + spell::Structure(0x21) +
                         Statistics(spell::kNewYear + 3540, without));
  const ProgramResult result = Show(dir, {"--key", "258", "--group", "2"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.out.find("      450      9000      -  ###"), std::string::npos) << result.out;
}

TEST(PsltoolShow, AKeyOfSeveralResourcesIsRefused) {
  TempDir dir;
  ASSERT_EQ(
      RunProgram(PSLTOOL_PATH, {"make", "-q", "--interval", "21600"}, {dir.Path(), {}}).status, 0);
  const std::string log = dir.Path("20240304array01.psl");
  const ProgramResult several = RunProgram(PSLTOOL_PATH, {"show", log, "-k", "pd", "--key", "0"});
  EXPECT_EQ(several.status, 1);
  EXPECT_EQ(several.err,
            "psltool: " + log +
                ": the key stands for several pd, 0.0 and 0.1 among them; give all its "
                "bytes\n");
  EXPECT_EQ(several.out, "");
  // Without a key it is the first one.
  const ProgramResult first = RunProgram(PSLTOOL_PATH, {"show", log, "-k", "pd"});
  EXPECT_EQ(first.status, 0);
  EXPECT_NE(first.out.find(", pd 0.0, "), std::string::npos) << first.out;
}

TEST(PsltoolShow, TimesChooseRecords) {
  TempDir dir;
  dir.Write("x.psa", Archive());
  const std::string file = dir.Path("x.psa");
  const auto show = [&](const std::vector<std::string>& more, const std::string& zone) {
    std::vector<std::string> options = {"show", file, "--key", "258"};
    options.insert(options.end(), more.begin(), more.end());
    return RunProgram(PSLTOOL_PATH, options, {"", {{"TZ", zone}}});
  };
  const ProgramResult later = show({"--from", "2024-01-01 06:30"}, "Asia/Kolkata");
  EXPECT_EQ(later.status, 0) << later.err;
  EXPECT_EQ(later.out.find("05:30-06:30"), std::string::npos) << later.out;
  EXPECT_NE(later.out.find("\n2024-01-01 06:30-07:30 "), std::string::npos) << later.out;
  EXPECT_NE(show({"--to", "2024-01-01 00:59", "--utc"}, "Asia/Kolkata").out.find("00:00-01:00"),
            std::string::npos);
  const ProgramResult none = show({"--from", "2025"}, "UTC");
  EXPECT_EQ(none.status, 1);
  EXPECT_NE(none.err.find("no record lies in the time from 2025"), std::string::npos) << none.err;
}

// What `show` tells of every kind of every file, group by group, against what `dump` prints.
class PsltoolShowRevision : public testing::TestWithParam<int> {};

TEST_P(PsltoolShowRevision, ShowsWhatDumpPrints) {
  TempDir dir;
  const int revision = GetParam();
  for (const LeveledFile& file : MakeAllLevels(dir.Path(), revision)) {
    const ProgramResult dump =
        RunProgram(PSLTOOL_PATH, {"dump", file.path, "--format", "ndjson", "--utc"});
    ASSERT_EQ(dump.status, 0) << dump.err;
    // By kind and key, in the order of the records.
    std::map<std::pair<std::string, std::string>, std::vector<json>> entries;
    for (const std::string& line : Lines(dump.out)) {
      const json entry = json::parse(line);
      entries[{entry["kind"], entry["key"]}].push_back(entry);
    }
    size_t shown = 0;
    for (const auto& [name, expected] : entries) {
      const auto& [kind, key] = name;
      if (kind == "conc" || kind == "cab" || kind.ends_with("-cp")) continue;
      size_t groups = 0;
      for (const auto& [member, value] : expected[0].items()) {
        if (member[0] == 'g' && member[2] == '_') groups = static_cast<size_t>(member[1] - '0');
      }
      for (size_t group = 1; group <= std::max<size_t>(groups, 1); ++group) {
        const ProgramResult result =
            RunProgram(PSLTOOL_PATH, {"show", file.path, "--kind", kind, "--key", key, "--group",
                                      std::to_string(group), "--json", "--utc"});
        ASSERT_EQ(result.status, 0) << kind << " " << key << " " << result.err;
        const json records = json::parse(result.out)["files"][0]["records"];
        ASSERT_EQ(records.size(), expected.size()) << kind << " " << key;
        for (size_t i = 0; i < records.size(); ++i) {
          for (const auto& [member, value] : expected[i].items()) {
            const bool other = member[0] == 'g' && member[2] == '_' &&
                               static_cast<size_t>(member[1] - '0') != group;
            if (member == "kind" || other) continue;
            EXPECT_EQ(records[i][member], value) << file.path << " " << kind << " " << member;
            ++shown;
          }
        }
      }
    }
    EXPECT_GT(shown, 20U) << file.path;
  }
}

INSTANTIATE_TEST_SUITE_P(Revisions, PsltoolShowRevision,
                         testing::Values(0x10, 0x11, 0x13, 0x18, 0x1C, 0x21), RevisionParam<int>);

}  // namespace
