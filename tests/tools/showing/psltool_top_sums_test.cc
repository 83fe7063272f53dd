// `psltool top` over a log and over its archive: both tell the same sums.
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

json TopOf(const std::string& path) {
  const ProgramResult result = RunProgram(PSLTOOL_PATH, {"top", path, "--json"});
  EXPECT_EQ(result.status, 0) << result.err;
  return json::parse(result.out)["resources"][0];
}

// Valid intervals of length 0 have operations, which the archiver counts.
TEST(PsltoolTopSums, IntervalsWithoutLengthCountAsInTheArchive) {
  const auto disk = [](uint32_t milliseconds, uint32_t operations, uint32_t maximum) {
    spell::Bytes b(96, '\0');
    spell::SetU32(b, 4, milliseconds);
    spell::SetU16(b, 8, 0x0101);
    spell::SetU32(b, 16, operations);
    spell::SetU32(b, 20, 500);
    spell::SetU32(b, 24, maximum);
    spell::SetU32(b, 28, 2048);
    return b;
  };
  const auto record = [&](uint32_t time, const spell::Bytes& entry) {
    return spell::StatisticsOfDisks(0x1D, time, 1, entry);
  };
  spell::Header header;
  header.revision = 0x1D;
  header.time = spell::kNewYear;
  TempDir dir;
  dir.Write("20240101a.psl", spell::HeaderRecord(header) +
                                 spell::Structure(0x1D, {.logical_disks = 1}) +
                                 record(spell::kNewYear, disk(60000, 600, 3)) +
                                 record(spell::kNewYear + 60, disk(0, 400, 9)) +
                                 record(spell::kNewYear + 120, disk(60000, 200, 5)));
  const ProgramResult archived = RunProgram(QELPRFARC_PATH, {"20240101a.psl"}, {dir.Path(), {}});
  ASSERT_EQ(archived.status, 0) << archived.err;
  json log = TopOf(dir.Path("20240101a.psl"));
  std::vector<std::string> names = dir.Names();
  std::erase(names, "20240101a.psl");
  ASSERT_EQ(names.size(), 1U);
  const json archive = TopOf(dir.Path(names[0]));
  EXPECT_EQ(log["ops"], 1200);
  EXPECT_EQ(log["max"], 9);
  EXPECT_EQ(log["ops_per_s"], 10);
  EXPECT_EQ(log["kvolume_per_s"], 20);
  for (const char* member : {"ops", "max", "ops_per_s", "first_mean", "kvolume_per_s"}) {
    EXPECT_EQ(log[member], archive[member]) << member;
  }
}

}  // namespace
