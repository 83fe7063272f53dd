// The record stream: framing, copied and skipped records, flushes, hours. Each test archives a
// small log and looks at the records that come out.
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/engine_run.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/run_state.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

namespace {

using spell::Bytes;
using spell::FixedRecord;
using spell::Found;
using spell::FreeRecord;
using spell::GetU16;
using spell::GetU32;
using spell::HeaderRecord;
using spell::kNewYear;
using spell::Records;
using spell::Statistics;
using spell::Structure;
using spell::Tags;

class StreamTest : public ::testing::Test {
 protected:
  // Archives the file; the archive is left in archive_.
  EngineOutcome Archive(const Bytes& file, char level = 0) {
    const TimeZone zone("UTC");
    directory_.Write("20240101A.psl", file);
    const std::string out = directory_.Path("out.psa");
    std::filesystem::remove(out);  // a failed run leaves the archive of the one before
    const EngineOutcome outcome =
        RunManual({directory_.Path("20240101A.psl")}, {.level = level, .outpath = out});
    exists_ = directory_.Exists("out.psa");
    archive_ = directory_.Read("out.psa");
    return outcome;
  }

  // Header and structure record of the revision, then `records`.
  EngineOutcome ArchiveRecords(uint8_t revision, const Bytes& records) {
    return Archive(HeaderRecord({.revision = revision}) + Structure(revision) + records);
  }

  void ExpectBroken(const EngineOutcome& outcome) {
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err,
              "Qelprfarc: 112 Record broken -- " + directory_.Path("20240101A.psl") + "\n");
    EXPECT_FALSE(exists_);
  }

  TempDir directory_;
  Bytes archive_;
  bool exists_ = false;
};

Bytes Sta(uint8_t revision, uint32_t seconds, uint8_t flag = 0x42) {
  return Statistics(revision, {.time = kNewYear + seconds, .flag = flag});
}

// ---- free space, copied records ----

TEST_F(StreamTest, FreeSpaceIsSkippedAndNeverCopied) {
  for (const size_t size : {12, 13, 500}) {
    EXPECT_EQ(ArchiveRecords(0x1D, FreeRecord(size) + Sta(0x1D, 0) + FreeRecord(size)).status,
              kReturned);
    EXPECT_EQ(Tags(archive_), "HDR CON STA");
  }
}

TEST_F(StreamTest, CopiedRecordsKeepTheirBytes) {
  for (int revision = kOldestRevision; revision <= kNewestRevision; ++revision) {
    const auto byte = static_cast<uint8_t>(revision);
    ASSERT_EQ(ArchiveRecords(byte, FixedRecord("NNC", 80) + FixedRecord("LDM", 64)).status,
              kReturned);
    const std::vector<Found> records = Records(archive_);
    ASSERT_EQ(records.size(), 4U) << revision;
    EXPECT_EQ(records.at(2).bytes, FixedRecord("NNC", 80));
    EXPECT_EQ(records.at(3).bytes, FixedRecord("LDM", 64));
  }
}

TEST_F(StreamTest, LongCopiedRecordsAreCutFrom1BOn) {
  for (int revision = 0x1B; revision <= kNewestRevision; ++revision) {
    const auto byte = static_cast<uint8_t>(revision);
    ASSERT_EQ(ArchiveRecords(
                  byte, FixedRecord("NNC", 100) + FixedRecord("LDM", 99) + FixedRecord("NNC", 80))
                  .status,
              kReturned);
    const std::vector<Found> records = Records(archive_);
    ASSERT_EQ(records.size(), 5U) << revision;
    Bytes nnc = FixedRecord("NNC", 100).substr(0, 80);
    spell::SetU32(nnc, 8, 80);
    EXPECT_EQ(records.at(2).bytes, nnc);
    Bytes ldm = FixedRecord("LDM", 99).substr(0, 64);
    spell::SetU32(ldm, 8, 64);
    EXPECT_EQ(records.at(3).bytes, ldm);
    EXPECT_EQ(records.at(4).tag, "NNC");
  }
}

TEST_F(StreamTest, LongCopiedRecordsBreakOlderFiles) {
  for (const uint8_t revision : {uint8_t{0x10}, uint8_t{0x18}, uint8_t{0x19}, uint8_t{0x1A}}) {
    ExpectBroken(ArchiveRecords(revision, FixedRecord("NNC", 100)));
    ExpectBroken(ArchiveRecords(revision, FixedRecord("LDM", 84)));
  }
}

// What follows the fixed part of an older record is taken for the next record's header.
TEST_F(StreamTest, TailOfAnOlderCopiedRecordIsTheNextRecord) {
  Bytes nnc = FixedRecord("NNC", 100);
  nnc.replace(80, 20, FreeRecord(20));
  ASSERT_EQ(ArchiveRecords(0x19, nnc + Sta(0x19, 0)).status, kReturned);
  EXPECT_EQ(Tags(archive_), "HDR CON NNC STA");
  EXPECT_EQ(Records(archive_).at(2).bytes.size(), 80U);
}

// ---- flushes ----

TEST_F(StreamTest, LdmFlushesThePeriodInProgress) {
  for (int revision = kOldestRevision; revision <= kNewestRevision; ++revision) {
    const auto byte = static_cast<uint8_t>(revision);
    ASSERT_EQ(ArchiveRecords(byte, Sta(byte, 60) + Sta(byte, 120) + FixedRecord("LDM", 64) +
                                       FixedRecord("LDM", 64) + Sta(byte, 180))
                  .status,
              kReturned);
    EXPECT_EQ(Tags(archive_), "HDR CON STA LDM LDM STA") << revision;
    const std::vector<Found> records = Records(archive_);
    EXPECT_EQ(records.at(2).time, kNewYear + 120);
    EXPECT_EQ(records.at(5).time, kNewYear + 180);
    EXPECT_EQ(spell::DiskOperations(byte, records.at(2).bytes), 20U);
    EXPECT_EQ(spell::DiskOperations(byte, records.at(5).bytes), 10U);
  }
}

TEST_F(StreamTest, NncDoesNotFlush) {
  ASSERT_EQ(ArchiveRecords(0x1D, Sta(0x1D, 60) + FixedRecord("NNC", 80) + Sta(0x1D, 120)).status,
            kReturned);
  EXPECT_EQ(Tags(archive_), "HDR CON NNC STA");
}

TEST_F(StreamTest, StructureRecordFlushesThePeriodAndComesAfterIt) {
  for (int revision = kOldestRevision; revision <= kNewestRevision; ++revision) {
    const auto byte = static_cast<uint8_t>(revision);
    ASSERT_EQ(
        ArchiveRecords(byte, Sta(byte, 60) + Structure(byte) + Structure(byte) + Sta(byte, 120))
            .status,
        kReturned);
    EXPECT_EQ(Tags(archive_), "HDR CON STA CON CON STA") << revision;
  }
}

TEST_F(StreamTest, PeriodWithoutStatisticsIsNeverWritten) {
  ASSERT_EQ(ArchiveRecords(0x1D, "").status, kReturned);
  EXPECT_EQ(Tags(archive_), "HDR CON");
  ASSERT_EQ(Archive(HeaderRecord({})).status, kReturned);
  EXPECT_EQ(Tags(archive_), "HDR");
  ASSERT_EQ(ArchiveRecords(0x1D, Sta(0x1D, 0) + FixedRecord("LDM", 64)).status, kReturned);
  EXPECT_EQ(Tags(archive_), "HDR CON STA LDM");
}

// ---- hours ----

TEST_F(StreamTest, HourIsCutWhenTheStampsHourGrows) {
  ASSERT_EQ(ArchiveRecords(0x1D, Sta(0x1D, 0, 0x01) + Sta(0x1D, 3599, 0x02) +
                                     Sta(0x1D, 3600, 0x03) + Sta(0x1D, 9000, 0x04))
                .status,
            kReturned);
  const std::vector<Found> records = Records(archive_);
  ASSERT_EQ(Tags(archive_), "HDR CON STA STA STA");
  // Stamp and flag byte are those of the last record folded into the period.
  EXPECT_EQ(records.at(2).time, kNewYear + 3599);
  EXPECT_EQ(records.at(2).flag, 0x02);
  EXPECT_EQ(records.at(3).time, kNewYear + 3600);
  EXPECT_EQ(records.at(3).flag, 0x03);
  EXPECT_EQ(records.at(4).time, kNewYear + 9000);
  EXPECT_EQ(records.at(4).flag, 0x04);
}

TEST_F(StreamTest, StampsOfOtherRecordsDoNotCutHours) {
  ASSERT_EQ(
      ArchiveRecords(0x1D, Sta(0x1D, 0) + FixedRecord("NNC", 80, kNewYear + 7200) + Sta(0x1D, 60) +
                               FixedRecord("NNC", 80, kNewYear) + Sta(0x1D, 3700))
          .status,
      kReturned);
  EXPECT_EQ(Tags(archive_), "HDR CON NNC NNC STA STA");
}

TEST_F(StreamTest, HoursAreComparedWithTheStatisticsRecordBefore) {
  ASSERT_EQ(ArchiveRecords(0x1D, Sta(0x1D, 3700) + Sta(0x1D, 100) + Sta(0x1D, 3800)).status,
            kReturned);
  ASSERT_EQ(Tags(archive_), "HDR CON STA STA");
  EXPECT_EQ(Records(archive_).at(2).time, kNewYear + 100);
}

TEST_F(StreamTest, HoursHaveNoTimeZone) {
  const TimeZone zone("XXX-0:30");
  ASSERT_EQ(ArchiveRecords(0x1C, Sta(0x1C, 60) + Sta(0x1C, 3540)).status, kReturned);
  EXPECT_EQ(Tags(archive_), "HDR CON STA");
}

TEST_F(StreamTest, DayArchivesAreNotCutAtHours) {
  const Bytes file = HeaderRecord({}) + Structure(0x1D) + Sta(0x1D, 0) + Sta(0x1D, 80000);
  ASSERT_EQ(Archive(file, 'D').status, kReturned);
  EXPECT_EQ(Tags(archive_), "HDR CON STA");
  EXPECT_EQ(spell::DiskOperations(0x1D, Records(archive_).at(2).bytes), 20U);
}

TEST_F(StreamTest, SectionsCarryTheFirstFieldOfTheRecordReadLast) {
  Bytes early = Sta(0x1D, 0);
  spell::SetU16(early, 88, 0x1111);
  spell::SetU16(early, 14, 0xBEEF);
  Bytes late = Sta(0x1D, 3600);
  spell::SetU16(late, 88, 0x2222);
  ASSERT_EQ(ArchiveRecords(0x1D, early + late).status, kReturned);
  const std::vector<Found> records = Records(archive_);
  ASSERT_EQ(records.size(), 4U);
  EXPECT_EQ(GetU16(records.at(2).bytes, 88), 0x2222U);
  EXPECT_EQ(GetU16(records.at(2).bytes, 14), 0U);
  EXPECT_EQ(GetU16(records.at(3).bytes, 88), 0x2222U);
}

// ---- what is no record ----

TEST_F(StreamTest, UnknownTagBreaksTheFile) {
  for (const char* tag : {"HDR", "XXX", "con", "\0\0\0"}) {
    ExpectBroken(ArchiveRecords(
        0x1D, Sta(0x1D, 0) + spell::Record(std::string(tag, 3), 0, 0, Bytes(8, 'x'))));
  }
}

TEST_F(StreamTest, LengthsThatCannotBeBreakTheFile) {
  for (const char* tag : {"CON", "STA", "NNC", "LDM", "FRE"}) {
    for (const uint32_t length : {0U, 1U, 11U, 513U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
      Bytes record = spell::Record(tag, 0, 0, Bytes(500, 'x'));
      spell::SetU32(record, 8, length);
      ExpectBroken(ArchiveRecords(0x1D, record));
    }
  }
}

TEST_F(StreamTest, FewerThan12BytesWhereARecordShouldStartBreakTheFile) {
  for (size_t left = 1; left < 12; ++left) {
    ExpectBroken(ArchiveRecords(0x1D, Sta(0x1D, 0) + FreeRecord(12).substr(0, left)));
  }
}

TEST_F(StreamTest, CopiedRecordsBelowTheirFixedSizeBreakTheFile) {
  for (const uint8_t revision : {uint8_t{0x10}, uint8_t{0x19}, uint8_t{0x1B}, uint8_t{0x21}}) {
    for (const size_t size : {12, 79}) {
      ExpectBroken(ArchiveRecords(revision, FixedRecord("NNC", size) + FixedRecord("NNC", 80)));
    }
    for (const size_t size : {12, 63}) {
      ExpectBroken(ArchiveRecords(revision, FixedRecord("LDM", size) + FixedRecord("NNC", 80)));
    }
  }
}

TEST_F(StreamTest, RecordsShorterThanTheirHeadBreakTheFile) {
  for (int revision = kOldestRevision; revision <= kNewestRevision; ++revision) {
    const auto byte = static_cast<uint8_t>(revision);
    const size_t head = spell::HeadSize(byte);
    for (const size_t size : {size_t{12}, head - 1}) {
      const Bytes body(size - 12, '\0');
      ExpectBroken(ArchiveRecords(byte, spell::Record("CON", 0, 0, body)));
      ExpectBroken(ArchiveRecords(byte, spell::Record("STA", 0, 0, body)));
    }
  }
}

TEST_F(StreamTest, StatisticsBeforeAnyStructureRecordBreakTheFileWhenTheyCarryEntries) {
  for (int revision = kOldestRevision; revision <= kNewestRevision; ++revision) {
    const auto byte = static_cast<uint8_t>(revision);
    ExpectBroken(Archive(HeaderRecord({.revision = byte}) + Sta(byte, 0)));
    const Bytes empty = spell::Record("STA", 5, kNewYear, Bytes(spell::HeadSize(byte) - 12, '\0'));
    EXPECT_EQ(Archive(HeaderRecord({.revision = byte}) + empty).status, kReturned);
    EXPECT_EQ(Tags(archive_), "HDR STA") << revision;
  }
}

// ---- revision 0x10 through the 0x11 writer ----

// A log with an "LDM" record between two of statistics, which count so many operations.
Bytes FlushedLog(uint32_t before, uint32_t behind) {
  return HeaderRecord({.revision = 0x10}) + Structure(0x10, {.all_kinds = true}) +
         Statistics(0x10, {.operations = before, .all_kinds = true}) + FixedRecord("LDM", 64) +
         Statistics(0x10, {.operations = behind, .all_kinds = true});
}

TEST_F(StreamTest, LdmFlushOf10GoesThroughThe11Writer) {
  ASSERT_EQ(Archive(FlushedLog(9, 7)).status, kReturned);
  ASSERT_EQ(Tags(archive_), "HDR CON STA LDM STA");
  const Bytes flushed = Records(archive_).at(2).bytes;
  // Host port 64 + 32, disk port 48 + 32, logical disk 96 + 80, physical disk 64 + 32 bytes.
  EXPECT_EQ(GetU32(flushed, 28), 80U);
  EXPECT_EQ(GetU32(flushed, 36), 176U);
  EXPECT_EQ(GetU32(flushed, 44), 256U);
  EXPECT_EQ(GetU32(flushed, 52), 432U);
  EXPECT_EQ(GetU16(flushed, 58), 0U);
  EXPECT_EQ(GetU32(flushed, 60), 528U);
  ASSERT_EQ(flushed.size(), 528U);
  EXPECT_EQ(GetU16(flushed, 256 + 14), 0U);
  EXPECT_EQ(GetU32(flushed, 432 + 16), 0U);
  EXPECT_EQ(GetU16(flushed, 432 + 20), 0U);
  EXPECT_EQ(GetU32(flushed, 432 + 32), 9U);
  // The period after it goes through the 0x10 writer.
  const Bytes last = Records(archive_).at(4).bytes;
  EXPECT_EQ(GetU32(last, 52), 432U);
  EXPECT_EQ(GetU32(last, 60), 0U);
  EXPECT_EQ(last.size(), 432U + 48 + 32);
  EXPECT_EQ(GetU32(last, 432 + 16), 7U);
}

TEST_F(StreamTest, IdlePhysicalDiskOfThe10FlushKeeps32Bytes) {
  ASSERT_EQ(Archive(FlushedLog(0, 0)).status, kReturned);
  // Host port 96, disk port 80, logical disk 16; then the physical disk.
  EXPECT_EQ(Records(archive_).at(2).bytes.size(), 80U + 96 + 80 + 16 + 32);
  EXPECT_EQ(Records(archive_).at(4).bytes.size(), 80U + 96 + 80 + 16 + 16);
}

TEST_F(StreamTest, ArchivesFlushedThroughThe11WriterAreReadBack) {
  ASSERT_EQ(Archive(FlushedLog(9, 7)).status, kReturned);
  ASSERT_EQ(Archive(archive_).status, kReturned);
  ASSERT_EQ(Tags(archive_), "HDR CON STA LDM STA");
  EXPECT_EQ(archive_.at(12), 'D');
  const Bytes flushed = Records(archive_).at(2).bytes;
  ASSERT_EQ(flushed.size(), 528U);
  EXPECT_EQ(spell::DiskOperations(0x10, flushed), 9U);
  EXPECT_EQ(GetU32(flushed, 432 + 32), 9U);
  EXPECT_EQ(spell::DiskOperations(0x10, Records(archive_).at(4).bytes), 7U);
}

}  // namespace
