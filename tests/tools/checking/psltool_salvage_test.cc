// `psltool salvage`: what it saves of damaged files archives cleanly, and nothing sound in front of
// the damage is lost.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/model/random_logs.h"
#include "tests/support/broken_files.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/psl_check.h"

namespace {

using spell::Bytes;

class Salvaging {
 public:
  explicit Salvaging(const std::string& broken) { dir_.Write("broken.psl", broken); }

  ProgramResult Run(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), {"salvage", dir_.Path("broken.psl"), "-o", Good()});
    return RunProgram(PSLTOOL_PATH, options);
  }
  std::string Good() const { return dir_.Path("good.psl"); }
  std::string Saved() const { return dir_.Read("good.psl"); }
  const TempDir& dir() const { return dir_; }

 private:
  TempDir dir_;
};

// The tags behind the file header.
std::string Kept(const std::string& file) {
  const std::string tags = spell::Tags(file);
  return tags.size() < 4 ? "" : tags.substr(4);
}

class PsltoolSalvageBroken : public testing::TestWithParam<BrokenFile> {};

TEST_P(PsltoolSalvageBroken, KeepsTheSoundPrefix) {
  const BrokenFile& file = GetParam();
  const Salvaging salvaging(file.bytes);
  const ProgramResult result = salvaging.Run();
  if (file.kept.empty()) {
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("nothing can be saved"), std::string::npos) << result.err;
    EXPECT_EQ(salvaging.dir().Names(), std::vector<std::string>{"broken.psl"});
    return;
  }
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(salvaging.Saved(), file.sound);
  EXPECT_EQ(Kept(salvaging.Saved()), file.kept);
  EXPECT_NE(result.out.find("offset " + std::to_string(file.offset)), std::string::npos)
      << result.out;
  EXPECT_TRUE(IsArchived(salvaging.Saved()));
}

TEST_P(PsltoolSalvageBroken, FindsLaterRecordsAgain) {
  const BrokenFile& file = GetParam();
  const Salvaging salvaging(file.bytes);
  const ProgramResult result = salvaging.Run({"--resync"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(Kept(salvaging.Saved()), file.kept_with_resync) << result.out;
  EXPECT_TRUE(IsArchived(salvaging.Saved()));
  EXPECT_EQ(CheckPath(salvaging.Good()).findings.size(), 0U);
  EXPECT_EQ(salvaging.dir().Names(), (std::vector<std::string>{"broken.psl", "good.psl"}));
}

INSTANTIATE_TEST_SUITE_P(Details, PsltoolSalvageBroken, testing::ValuesIn(BrokenFiles()),
                         [](const auto& each) { return each.param.name; });

// ---- every revision ----

class PsltoolSalvageRevision : public testing::TestWithParam<int> {};

TEST_P(PsltoolSalvageRevision, SoundFilesAreCopiedAsTheyAre) {
  const auto revision = static_cast<uint8_t>(GetParam());
  for (const model::InputFile& log : model::MakeRandomLogs(3, revision, {})) {
    std::string bytes(log.bytes.begin(), log.bytes.end());
    const Salvaging salvaging(bytes);
    const ProgramResult result = salvaging.Run();
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(salvaging.Saved(), bytes) << log.name;
    EXPECT_NE(result.out.find("dropped  nothing"), std::string::npos);
  }
}

// Cut anywhere, the whole records in front of the cut are there.
TEST_P(PsltoolSalvageRevision, CutFilesKeepTheirWholeRecords) {
  const auto revision = static_cast<uint8_t>(GetParam());
  const Bytes log = spell::Log(
      {.revision = revision}, {spell::kNewYear, spell::kNewYear + 60, spell::kNewYear + 120}, true);
  const size_t header = spell::HeaderSize(revision);
  std::vector<size_t> ends = {header};
  for (const spell::Found& record : spell::Records(log.substr(header))) {
    ends.push_back(ends.back() + record.bytes.size());
  }
  for (size_t size = header + 1; size < log.size(); size += 1 + log.size() / 40) {
    const Salvaging salvaging(log.substr(0, size));
    const ProgramResult result = salvaging.Run();
    size_t whole = 0;
    for (const size_t end : ends) whole = end <= size ? end : whole;
    ASSERT_EQ(result.status, whole > header ? 0 : 1) << size << result.err;
    if (whole > header) {
      EXPECT_EQ(salvaging.Saved(), log.substr(0, whole)) << size;
    }
    EXPECT_EQ(salvaging.dir().Exists("good.psl"), whole > header);
  }
}

// A hole of any bytes in the middle: the records behind it come back.
TEST_P(PsltoolSalvageRevision, RecordsBehindAHoleComeBack) {
  const auto revision = static_cast<uint8_t>(GetParam());
  const Bytes log = spell::Log(
      {.revision = revision}, {spell::kNewYear, spell::kNewYear + 60, spell::kNewYear + 120}, true);
  const size_t first =
      spell::HeaderSize(revision) + spell::GetU32(log, spell::HeaderSize(revision) + 8);
  Bytes holed = log;
  for (size_t i = 0; i < 100; ++i) holed[first + 5 + i] = static_cast<char>(i * 37);
  const Salvaging salvaging(holed);
  ASSERT_EQ(salvaging.Run({"--resync"}).status, 0);
  EXPECT_EQ(Kept(salvaging.Saved()), "CON STA STA");
  EXPECT_TRUE(IsArchived(salvaging.Saved()));
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolSalvageRevision, EachRevision(), RevisionParam<int>);

// ---- what only a whole file tells ----

// A structure record is lost in a hole, and the disks behind it have other numbers: the archiver
// would put them to the wrong ones.
TEST(PsltoolSalvage, StatisticsOfALostStructureStayOut) {
  const uint8_t revision = 0x1D;
  Bytes other = spell::Structure(revision, {.time = spell::kNewYear + 60});
  spell::SetU16(other, spell::GetU32(other, 88 + 4), 0x0707);
  Bytes of_other = spell::Statistics(revision, {.time = spell::kNewYear + 120});
  spell::SetU16(of_other, spell::GetU32(of_other, 88 + 4) + 8, 0x0707);
  Bytes hole = other;
  for (size_t i = 0; i < 100; ++i) hole[i] = '?';
  const Bytes start = spell::Log({.revision = revision}, {spell::kNewYear});
  const Salvaging salvaging(start + hole + of_other + other + of_other);
  ASSERT_EQ(salvaging.Run({"--resync", "--keep-suspect"}).status, 0);
  EXPECT_EQ(salvaging.Saved(), start + other + of_other);
}

// Up to 0x1A a record of fixed size ends there, whatever its length says; the copy says the size.
TEST(PsltoolSalvage, LengthsOfFixedRecordsAreMended) {
  Bytes nnc = spell::FixedRecord("NNC", 80);
  const Bytes header = spell::HeaderRecord({.revision = 0x19});
  const Bytes rest = spell::Structure(0x19) + spell::Statistics(0x19);
  spell::SetU32(nnc, 8, 90);
  const Salvaging salvaging(header + nnc + rest);
  const ProgramResult result = salvaging.Run();
  ASSERT_EQ(result.status, 0);
  EXPECT_EQ(salvaging.Saved(), header + spell::FixedRecord("NNC", 80) + rest);
  EXPECT_NE(result.out.find("mended   record length of record 1 (NNC): 80 instead of 90"),
            std::string::npos)
      << result.out;
}

TEST(PsltoolSalvage, TheHeadersLengthIsMended) {
  const Bytes log = spell::Log({}, {spell::kNewYear});
  Bytes broken = log;
  spell::SetU32(broken, 8, 1);
  const Salvaging salvaging(broken);
  ASSERT_EQ(salvaging.Run().status, 0);
  EXPECT_EQ(salvaging.Saved(), log);
}

// Counters that look like the start of a record are not taken for one.
TEST(PsltoolSalvage, TagsInsideOfDataArePassedOver) {
  const Bytes start = spell::Log({}, {spell::kNewYear});
  Bytes decoys;
  for (const char* tag : {"STA", "CON", "LDM", "NNC", "FRE"}) {
    decoys += spell::Record(tag, 0, spell::kNewYear + 60, Bytes(300, '\x01'));
  }
  decoys[0] = 'X';  // the framing is lost here
  const Bytes later = spell::Statistics(0x1D, {.time = spell::kNewYear + 60});
  const Salvaging salvaging(start + "XYZ" + decoys + later);
  ASSERT_EQ(salvaging.Run({"--resync", "--keep-suspect"}).status, 0);
  EXPECT_EQ(salvaging.Saved(), start + later);
}

// Old records can lie in free space.
TEST(PsltoolSalvage, OlderRecordsAreNotFoundAgain) {
  const Bytes start = spell::Log({}, {spell::kNewYear + 600});
  const Bytes old = spell::Statistics(0x1D, {.time = spell::kNewYear + 60});
  const Bytes later = spell::Statistics(0x1D, {.time = spell::kNewYear + 660});
  const Salvaging salvaging(start + "garbage" + old + later);
  ASSERT_EQ(salvaging.Run({"--resync", "--keep-suspect"}).status, 0);
  EXPECT_EQ(salvaging.Saved(), start + later);
}

// Bytes were lost inside a record: its length still fits, but leads into the record behind it, and
// its counters are shifted. It was copied as sound.
TEST(PsltoolSalvage, AShiftedRecordIsSuspect) {
  const Bytes start = spell::Log({}, {spell::kNewYear});
  const Bytes record = spell::Statistics(0x1D, {.time = spell::kNewYear + 60});
  const Bytes later = spell::Statistics(0x1D, {.time = spell::kNewYear + 120});
  const size_t in_counters = spell::GetU32(record, 88 + 4) + 20;
  for (const int change : {-7, -1, 1, 9}) {
    Bytes shifted = record;
    if (change < 0) {
      shifted.erase(in_counters, static_cast<size_t>(-change));
    } else {
      shifted.insert(in_counters, static_cast<size_t>(change), '\x05');
    }
    const Salvaging salvaging(start + shifted + later + later);
    const ProgramResult result = salvaging.Run({"--resync"});
    ASSERT_EQ(result.status, 0) << change << result.err;
    EXPECT_EQ(salvaging.Saved(), start + later + later) << change;
    const std::string place = std::to_string(record.size()) + " bytes from offset " +
                              std::to_string(start.size()) + " on, ";
    EXPECT_NE(
        result.out.find("  suspect  record 3 (STA), " + place + "left out: no record follows it\n"),
        std::string::npos)
        << result.out;
    EXPECT_TRUE(IsArchived(salvaging.Saved()));

    const ProgramResult kept = salvaging.Run({"--resync", "--keep-suspect", "--force"});
    ASSERT_EQ(kept.status, 0) << kept.err;
    EXPECT_NE(kept.out.find(place + "kept: no record follows it\n"), std::string::npos) << kept.out;
    EXPECT_EQ(Kept(salvaging.Saved()).substr(0, 11), "CON STA STA") << change;
    // Without --resync the copy ends in front of it.
    ASSERT_EQ(salvaging.Run({"--force"}).status, 0);
    EXPECT_EQ(salvaging.Saved(), start) << change;
  }
}

// A damaged tag or length says nothing against the record in front: that ends where it should.
TEST(PsltoolSalvage, DamageOfTheNextHeaderMakesNoRecordSuspect) {
  const Bytes start = spell::Log({}, {spell::kNewYear});
  const Bytes later = spell::Statistics(0x1D, {.time = spell::kNewYear + 60});
  for (const size_t at : {size_t{0}, size_t{2}, size_t{8}, size_t{9}}) {
    Bytes damaged = later;
    damaged[at] = '\x7f';
    const Salvaging salvaging(start + damaged + later);
    const ProgramResult result = salvaging.Run({"--resync"});
    ASSERT_EQ(result.status, 0) << at << result.err;
    EXPECT_EQ(result.out.find("suspect"), std::string::npos) << at << result.out;
    EXPECT_EQ(salvaging.Saved(), start + later) << at;
  }
}

// ---- the structure record of another day ----

class PsltoolSalvageStructure : public testing::TestWithParam<int> {
 protected:
  static uint8_t Revision() { return static_cast<uint8_t>(GetParam()); }
  static Bytes Day(uint32_t start) {
    return spell::Log({.revision = Revision(), .time = start}, {start, start + 60, start + 120},
                      true);
  }
  static size_t HeaderSize() { return spell::HeaderSize(Revision()); }
  static size_t StructureSize(const Bytes& log) { return spell::GetU32(log, HeaderSize() + 8); }
};

TEST_P(PsltoolSalvageStructure, StandsInForOneThatIsLost) {
  const uint32_t tomorrow = spell::kNewYear + 86400;
  const Bytes log = Day(tomorrow);
  const size_t size = StructureSize(log);
  Bytes holed = log;
  for (size_t i = 0; i < 40; ++i) holed[HeaderSize() + i] = '?';
  Bytes content = log;
  spell::SetU32(content, HeaderSize() + 28, 0x7FFFFFFF);  // a list leaves the record
  const Bytes without = log.substr(0, HeaderSize()) + log.substr(HeaderSize() + size);
  for (const Bytes& broken : {holed, content, without}) {
    const Salvaging salvaging(broken);
    salvaging.dir().Write("day_before.psl", Day(spell::kNewYear));
    EXPECT_EQ(salvaging.Run({"--resync"}).status, 1);
    const ProgramResult result =
        salvaging.Run({"--structure", salvaging.dir().Path("day_before.psl")});
    ASSERT_EQ(result.status, 0) << result.err;
    // That of the day before, with the time of the first statistics that need it.
    EXPECT_EQ(salvaging.Saved(), log);
    EXPECT_NE(result.out.find("  borrowed structure record of " +
                              salvaging.dir().Path("day_before.psl") + ", record 1\n"),
              std::string::npos)
        << result.out;
    EXPECT_TRUE(IsArchived(salvaging.Saved()));
  }
}

TEST_P(PsltoolSalvageStructure, ASoundStructureIsNotReplaced) {
  const Bytes log = Day(spell::kNewYear + 86400);
  Bytes cut = log.substr(0, log.size() - 5);
  const Salvaging salvaging(cut);
  salvaging.dir().Write("day_before.psl", Day(spell::kNewYear));
  const ProgramResult result =
      salvaging.Run({"--structure", salvaging.dir().Path("day_before.psl")});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out.find("borrowed"), std::string::npos) << result.out;
  EXPECT_EQ(Kept(salvaging.Saved()), "CON STA STA");
}

INSTANTIATE_TEST_SUITE_P(Families, PsltoolSalvageStructure,
                         testing::Values(0x10, 0x11, 0x12, 0x13, 0x14, 0x18, 0x19, 0x1A, 0x1C, 0x1D,
                                         0x21),
                         RevisionParam<int>);

TEST(PsltoolSalvage, AStructureRecordOfAnotherArrayTakesNoCounters) {
  const Bytes log = spell::Log({}, {spell::kNewYear});
  const size_t header = spell::HeaderSize(0x1D);
  const Bytes without = log.substr(0, header) + spell::Statistics(0x1D, {.time = spell::kNewYear});
  Bytes other = log;
  const size_t list = header + spell::GetU32(log, header + 88 + 4);
  spell::SetU16(other, list, 0x0707);  // its disk has another number
  const Salvaging salvaging(without);
  salvaging.dir().Write("other.psl", other);
  const ProgramResult result = salvaging.Run({"--structure", salvaging.dir().Path("other.psl")});
  EXPECT_EQ(result.status, 1) << result.out;
  EXPECT_FALSE(salvaging.dir().Exists("good.psl"));
}

TEST(PsltoolSalvage, AStructureThatCannotBeTakenIsTold) {
  const Salvaging salvaging(spell::Log({}, {spell::kNewYear}));
  const auto run = [&](const Bytes& bytes) {
    salvaging.dir().Write("from.psl", bytes);
    const ProgramResult result = salvaging.Run({"--structure", salvaging.dir().Path("from.psl")});
    EXPECT_EQ(result.status, 2);
    EXPECT_FALSE(salvaging.dir().Exists("good.psl"));
    return result.err;
  };
  EXPECT_NE(run(spell::Log({.revision = 0x1C}, {spell::kNewYear})).find("from.psl: is of revision"),
            std::string::npos);
  EXPECT_NE(run(spell::HeaderRecord({})).find("from.psl: holds no sound structure record"),
            std::string::npos);
  EXPECT_NE(run("no log").find("from.psl: "), std::string::npos);
  EXPECT_EQ(salvaging.Run({"--structure", salvaging.dir().Path("none.psl")}).status, 2);
}

TEST(PsltoolSalvage, WhatIsNoLogCannotBeSaved) {
  for (const std::string& bytes :
       {std::string(), std::string("HDR"), std::string(300, 'x'), spell::HeaderRecord({})}) {
    const Salvaging salvaging(bytes);
    const ProgramResult result = salvaging.Run({"--resync"});
    EXPECT_EQ(result.status, 1) << bytes.size();
    EXPECT_NE(result.err.find("nothing can be saved"), std::string::npos);
    EXPECT_EQ(salvaging.dir().Names(), std::vector<std::string>{"broken.psl"});
  }
}

TEST(PsltoolSalvage, AnExistingFileIsReplacedOnlyWhenForced) {
  const Salvaging salvaging(spell::Log({}, {spell::kNewYear}));
  salvaging.dir().Write("good.psl", "precious");
  const ProgramResult refused = salvaging.Run();
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.err, "psltool: " + salvaging.Good() + ": exists; --force replaces it\n");
  EXPECT_EQ(salvaging.Saved(), "precious");
  EXPECT_EQ(salvaging.Run({"--force"}).status, 0);
  EXPECT_NE(salvaging.Saved(), "precious");
}

TEST(PsltoolSalvage, TheDamagedFileIsNeverTheOutput) {
  const std::string log = spell::Log({}, {spell::kNewYear}) + "tail";
  TempDir dir;
  dir.Write("x.psl", log);
  const ProgramResult result = RunProgram(
      PSLTOOL_PATH, {"salvage", "--force", dir.Path("x.psl"), "-o", dir.Path("./x.psl")});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(dir.Read("x.psl"), log);
}

TEST(PsltoolSalvage, NothingIsLeftWhenWritingFails) {
  TempDir dir;
  dir.Write("x.psl", spell::Log({}, {spell::kNewYear}));
  const ProgramResult result =
      RunProgram(PSLTOOL_PATH, {"salvage", dir.Path("x.psl"), "-o", dir.Path("no/good.psl")});
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find("cannot be created"), std::string::npos) << result.err;
  // A file size limit of 512 bytes; the signal that comes with it is ignored.
  const ProgramResult full = RunProgram(
      "/bin/sh", {"-c", "trap '' XFSZ; ulimit -f 1; exec \"$0\" salvage \"$1\" -o \"$2\"",
                  PSLTOOL_PATH, dir.Path("x.psl"), dir.Path("good.psl")});
  EXPECT_EQ(full.status, 2);
  EXPECT_NE(full.err.find("cannot be written"), std::string::npos) << full.err;
  EXPECT_EQ(dir.Names(), std::vector<std::string>{"x.psl"});
}

TEST(PsltoolSalvage, MissingFilesAndWrongOptionsMakeStatus2) {
  TempDir dir;
  const ProgramResult missing =
      RunProgram(PSLTOOL_PATH, {"salvage", dir.Path("no.psl"), "-o", dir.Path("good.psl")});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.err,
            "psltool: " + dir.Path("no.psl") + ": cannot be opened: No such file or directory\n");
  EXPECT_EQ(RunProgram(PSLTOOL_PATH, {"salvage", dir.Path("no.psl")}).status, 2);
}

}  // namespace
