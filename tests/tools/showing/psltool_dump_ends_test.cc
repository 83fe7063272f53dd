// `psltool dump` on broken files, into closed pipes and onto full disks; and that its memory, like
// that of other commands, does not grow with the file.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/dump_run.h"

namespace {

using spell::Bytes;

TEST(PsltoolDump, ABrokenFileIsPrintedUpToThePlace) {
  TempDir dir;
  Bytes broken = DiskRecord(spell::kNewYear + 60);
  spell::SetU32(broken, 92, static_cast<uint32_t>(broken.size() - 10));
  const Bytes start = DiskFile();
  dir.Write("x.psl", start + broken);
  const ProgramResult result = Dump(dir.Path("x.psl"), {"--kind", "ld", "--format", "ndjson"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(Lines(result.out).size(), 3U);
  const std::string place = std::to_string(start.size() + broken.size() - 10);
  EXPECT_EQ(result.err,
            "psltool: " + dir.Path("x.psl") + ": record 3 (STA) at offset " + place +
                ", section ld, entry 0: the section leaves the record; psltool check tells "
                "all findings, psltool salvage saves the sound records\n");
  // A file without a sound header has nothing to be saved.
  dir.Write("y.psl", "no log");
  EXPECT_EQ(Dump(dir.Path("y.psl"), {}).err.find("salvage"), std::string::npos);
}

TEST(PsltoolDump, EntriesBeforeAnyStructureAreBroken) {
  TempDir dir;
  dir.Write("x.psl", spell::HeaderRecord({}) + spell::Statistics(0x1D));
  const ProgramResult result = Dump(dir.Path("x.psl"), {});
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("record 1 (STA) at offset 346, section ld, count"), std::string::npos)
      << result.err;
}

TEST(PsltoolDump, AClosedPipeIsNoFailure) {
  TempDir dir;
  std::vector<uint32_t> times(3000, spell::kNewYear);
  dir.Write("x.psl", DiskFile(times));
  const ProgramResult result = RunProgram(
      "/bin/sh", {"-c", "\"$0\" dump \"$1\" | head -n 1", PSLTOOL_PATH, dir.Path("x.psl")});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(Lines(result.out).size(), 1U);
}

TEST(PsltoolDump, AFullDiskIsTold) {
  TempDir dir;
  dir.Write("x.psl", DiskFile());
  const ProgramResult result = RunProgram(
      "/bin/sh", {"-c", "exec \"$0\" dump \"$1\" > /dev/full", PSLTOOL_PATH, dir.Path("x.psl")});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "psltool: standard output: cannot be written\n");
}

#if !defined(__SANITIZE_ADDRESS__)
// 64 MiB of records and as much free space go through 48 MiB of memory.
TEST(PsltoolDump, MemoryDoesNotGrowWithTheFile) {
  TempDir dir;
  const std::string record = spell::Statistics(0x10, {.time = spell::kNewYear});
  std::string file = spell::HeaderRecord({.revision = 0x10}) + spell::Structure(0x10);
  while (file.size() < (size_t{64} << 20)) file += record;
  file += spell::FreeRecord(size_t{64} << 20);
  dir.Write("x.psl", file);
  for (const char* command : {"dump --key 999 --kind ld", "check", "info", "salvage -o good.psl",
                              "top --by max", "export --to csv --key 999 --kind ld"}) {
    // For medians top keeps the period of each record, a few bytes of a record's many: these are as
    // small as records can be.
    const char* const most = std::string_view(command).starts_with("top") ? "98304" : "49152";
    const ProgramResult result = RunProgram(
        "/bin/sh", {"-c", "cd \"$1\"; ulimit -v $2; exec \"$0\" " + std::string(command) + " x.psl",
                    PSLTOOL_PATH, dir.Path(), most});
    // Read to the end, a file without the key makes status 1, lack of memory 2.
    const bool finds = result.err.find("no record holds ld 999") == std::string::npos;
    EXPECT_EQ(finds, std::string(command).find("999") == std::string::npos) << command;
    EXPECT_EQ(result.status, finds ? 0 : 1) << command << ": " << result.err;
  }
}
#endif

}  // namespace
