// `psltool show`: what its table says of a file whose bytes are spelled out here.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

namespace {

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
  spell::Sections record("STA", 0, time, 256);
  record.Add(88, 96, 2, OtherEntry() + entry);
  return record.Finish();
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
                "last record (UTC)      min     ops/s    peak/s      mean       max busy % \n"
                "2024-01-01 00:59:00   60.0       2.0       4.0       450      9000  36.00  "
                "####################                   |\n"
                "2024-01-01 01:30:00   30.0       0.0         -         0         0   0.00  \n");
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
    testing::Values(Refusal{"NoSuchDisk", {"--key", "9"}, "no record holds ld 9"},
                    Refusal{"NoKey", {"--key", "1.2"}, "'1.2' is not a key of logical disks"},
                    Refusal{"NoGroup",
                            {"--key", "7", "--group", "6"},
                            "entries of logical disks have 5 counter groups"}),
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
  EXPECT_NE(result.err.find("a section leaves the record"), std::string::npos) << result.err;
}

}  // namespace
