// The file header record: judging a candidate input, reading it, and writing the output's.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <initializer_list>
#include <map>

#include "areas/finfo.h"
#include "report/runinfo.h"
#include "tests/engine/header_fixture.h"
#include "tests/support/engine_run.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/run_state.h"

namespace {

using spell::Bytes;
using spell::GetU32;
using spell::HeaderRecord;
using Revisions = std::initializer_list<uint8_t>;

// ---- judging ----

TEST_F(HeaderTest, RevisionsFrom10To21AreAccepted) {
  for (int revision = kOldestRevision; revision <= kNewestRevision; ++revision) {
    EXPECT_EQ(Judge({.revision = static_cast<uint8_t>(revision)}), 0) << revision;
    EXPECT_EQ(Rev_Kind, revision);
    EXPECT_EQ(err_, "");
    // The file is not rewound.
    EXPECT_EQ(lseek(rfd, 0, SEEK_CUR), revision < 0x19 ? 80 : 256) << revision;
  }
}

TEST_F(HeaderTest, OtherRevisionsAreAnIllegalFileFormat) {
  for (const int revision : {0x00, 0x0F, 0x22, 0x7F, 0x80, 0xFF}) {
    Bytes bytes = HeaderRecord({.revision = 0x1D});
    spell::SetU8(bytes, 3, static_cast<uint32_t>(revision));
    EXPECT_EQ(JudgeBytes(bytes), -1) << revision;
    EXPECT_EQ(err_, Message("120 Illegal file format"));
    EXPECT_EQ(Rev_Kind, revision);
  }
}

TEST_F(HeaderTest, AnotherTagIsNoPslFile) {
  for (const char* tag : {"HDX", "CON", "hdr"}) {
    Bytes bytes = HeaderRecord({});
    bytes.replace(0, 3, tag);
    EXPECT_EQ(JudgeBytes(bytes), -1);
    EXPECT_EQ(err_, Message("101 Not PSL file"));
  }
  // The tag is judged before the revision.
  EXPECT_EQ(JudgeBytes(Bytes(256, 'x')), -1);
  EXPECT_EQ(err_, Message("101 Not PSL file"));
}

TEST_F(HeaderTest, DayArchivesAreNotArchivedFurther) {
  for (const uint8_t revision : Revisions{0x10, 0x18, 0x19, 0x1C, 0x1D, 0x21}) {
    EXPECT_EQ(Judge({.revision = revision, .level = 'D'}), -1) << int{revision};
    EXPECT_EQ(err_, Message("108 No more archiving"));
  }
}

TEST_F(HeaderTest, DayArchivesPassWithAnExplicitPeriod) {
  finfo.optclass = kOptDirectory;
  for (const uint8_t revision : Revisions{0x10, 0x18, 0x19, 0x1C, 0x1D, 0x21}) {
    EXPECT_EQ(Judge({.revision = revision, .level = 'D'}), 0) << int{revision};
    EXPECT_EQ(err_, "");
  }
}

TEST_F(HeaderTest, NoperiodPassesOverDayArchivesOfNewRevisionsSilently) {
  arcdelinfo.noperiod_flg = 1;
  for (const uint8_t revision : Revisions{0x1D, 0x1F, 0x21}) {
    EXPECT_EQ(Judge({.revision = revision, .level = 'D'}), -2) << int{revision};
    EXPECT_EQ(err_, "");
  }
  for (const uint8_t revision : Revisions{0x10, 0x14, 0x19, 0x1C}) {
    EXPECT_EQ(Judge({.revision = revision, .level = 'D'}), -1) << int{revision};
    EXPECT_EQ(err_, Message("108 No more archiving"));
  }
}

TEST_F(HeaderTest, FileShorterThanItsHeaderIsAReadError) {
  for (const uint8_t revision : Revisions{0x10, 0x13, 0x18, 0x19, 0x1C, 0x1D, 0x21}) {
    const Bytes whole = HeaderRecord({.revision = revision});
    for (size_t length = 0; length < whole.size(); ++length) {
      EXPECT_EQ(JudgeBytes(whole.substr(0, length)), -1) << int{revision} << ' ' << length;
      EXPECT_EQ(err_, "Qelprfarc: 110 Read error -- " + name_ + "  func=read errno=0\n");
    }
    EXPECT_EQ(JudgeBytes(whole), 0);
  }
}

// ---- reading ----

TEST_F(HeaderTest, ReadingAnotherTagEndsTheRunAndLeavesTheOutput) {
  directory_.Write("output", "half");
  snprintf(wfpath, sizeof wfpath, "%s", directory_.Path("output").c_str());
  wfd = open(wfpath, O_WRONLY);
  Bytes bytes = HeaderRecord({});
  bytes[0] = 'X';
  EXPECT_EQ(ReadBytes(bytes), 1);
  EXPECT_EQ(err_, Message("101 Not PSL file"));
  EXPECT_EQ(directory_.Read("output"), "half");
}

TEST_F(HeaderTest, FieldsAreRead) {
  EXPECT_EQ(Read({.revision = 0x1A,
                  .level = 'H',
                  .time = 0xFEDCBA98,
                  .second_level = 0x5A,
                  .configuration = 0x01020304}),
            kReturned);
  EXPECT_EQ(finfo.revision, 0x1A);
  EXPECT_EQ(Rev_Kind, 0x1A);
  EXPECT_EQ(finfo.input_level, 'H');
  EXPECT_EQ(finfo.second_level, 0x5A);
  EXPECT_EQ(finfo.configuration, 0x01020304U);
  // Stamps are unsigned.
  EXPECT_EQ(finfo.record_time, int64_t{0xFEDCBA98});
  EXPECT_EQ(finfo.header_time, int64_t{0xFEDCBA98});
  EXPECT_EQ(finfo.record_length, 256U);
  Read({.revision = 0x10, .time = 77});
  EXPECT_EQ(finfo.previous_time, int64_t{0xFEDCBA98});
  EXPECT_EQ(finfo.previous_length, 256U);
  EXPECT_EQ(finfo.record_time, 77);
  EXPECT_EQ(finfo.record_length, 80U);
}

TEST_F(HeaderTest, LogsGiveHourArchivesAndHourArchivesDayArchives) {
  Read({.level = 'L'});
  EXPECT_EQ(finfo.level, 'H');
  ResetEngine();
  Read({.level = 'H'});
  EXPECT_EQ(finfo.level, 'D');
  // The first input decides.
  Read({.level = 'L'});
  EXPECT_EQ(finfo.level, 'D');
}

TEST_F(HeaderTest, AnExplicitOutputLevelStays) {
  finfo.level = 'D';
  EXPECT_EQ(Read({.level = 'L'}), kReturned);
  EXPECT_EQ(finfo.level, 'D');
  EXPECT_EQ(Read({.level = 'x'}), kReturned);
}

TEST_F(HeaderTest, OtherLevelsAreNotArchived) {
  for (const char level : {'D', 'x', '\0'}) {
    EXPECT_EQ(Read({.level = level}), 1);
    EXPECT_EQ(err_, Message("108 No more archiving"));
  }
  finfo.optclass = kOptDirectory;
  EXPECT_EQ(Read({.level = 'D'}), kReturned);
  EXPECT_EQ(finfo.level, 0);
}

// ---- bitmaps and full masks ----

using Masks = std::map<size_t, uint32_t>;  // offset in the header -> full mask

Masks FullMasks(uint8_t revision) {
  constexpr uint32_t k2 = 0xC0000000, k8 = 0xFF000000, k10 = 0xFFC00000, k20 = 0xFFFFF000;
  constexpr uint32_t k22 = 0xFFFFFC00, k24 = 0xFFFFFF00, k26 = 0xFFFFFFC0;
  if (revision == 0x10) return {{32, k8}, {36, k8}, {40, k20}, {44, k8}};
  if (revision == 0x11) return {{32, k8}, {36, k8}, {40, k22}, {44, k10}, {48, k2}};
  if (revision == 0x12) return {{32, k20}, {36, k8}, {40, k22}, {44, k10}, {48, k10}};
  if (revision == 0x13) return {{32, k20}, {36, k8}, {40, k20}, {44, k22}, {48, k10}, {52, k10}};
  if (revision < 0x19) {
    return {{32, k20}, {36, k24}, {40, k8}, {44, k20}, {48, k22}, {52, k10}, {56, k10}, {60, k10}};
  }
  Masks masks = {{32, k2},  {44, k22}, {48, k26}, {52, k10}, {56, 0},
                 {60, k20}, {64, k22}, {68, k10}, {72, k10}, {76, k10}};
  if (revision >= 0x1A) masks.insert({{36, k2}, {40, k2}, {80, k22}});
  if (revision >= 0x1D) masks[84] = k10;
  return masks;
}

TEST_F(HeaderTest, OutputsClaimTheFullItemSetOfTheirRevision) {
  for (int revision = kOldestRevision; revision <= kNewestRevision; ++revision) {
    ResetEngine();
    const auto byte = static_cast<uint8_t>(revision);
    spell::Header input = {.revision = byte,
                           .level = 'L',
                           .time = 0x11223344,
                           .second_level = 0x77,
                           .configuration = 0x55667788};
    Bytes expected = HeaderRecord(input);
    spell::SetU8(expected, 12, 'H');
    for (const auto& [at, mask] : FullMasks(byte)) {
      input.bitmaps.emplace_back(at, 0x80000001);
      spell::SetU32(expected, at, mask);
    }
    ASSERT_EQ(Read(input), kReturned);
    EXPECT_EQ(Written(), expected) << revision;
    EXPECT_EQ(Rev_Kind, revision);
  }
}

TEST_F(HeaderTest, BitCountsTellHowManyWordsFollowAnEntry) {
  Read({.revision = 0x14, .bitmaps = {{32, 0xFFF00000}, {60, 0xFFFFFFFF}}});
  EXPECT_EQ(finfo.items[kHp].in_count, 12U);
  EXPECT_EQ(finfo.items[kHp].out_count, 20U);
  EXPECT_EQ(finfo.items[kPool].in_count, 32U);
  EXPECT_EQ(finfo.items[kRp].in_count, 0U);
  EXPECT_EQ(finfo.items[kRp].out_count, 24U);
  EXPECT_EQ(GetU32(Written(), 32), 0xFFFFF000U);
}

TEST_F(HeaderTest, Revision19LacksThreeBitmapsAndWritesTheReservedOneAsZero) {
  Read({.revision = 0x1D,
        .bitmaps = {{36, 0xA0000000}, {40, 0xB0000000}, {80, 0xC0000000}, {84, 0xE0000000}}});
  Read({.revision = 0x19,
        .bitmaps = {{36, 0x11111111}, {40, 0x22222222}, {56, 0x33333333}, {80, 0x44444444}}});
  // Left as they were.
  EXPECT_EQ(finfo.items[kRd].in_mask, 0xA0000000U);
  EXPECT_EQ(finfo.items[kDd].in_mask, 0xB0000000U);
  EXPECT_EQ(finfo.items[kHpNode].in_mask, 0xC0000000U);
  EXPECT_EQ(finfo.items[kMp].in_mask, 0xE0000000U);
  EXPECT_EQ(finfo.items[kMp].in_count, 3U);
  EXPECT_EQ(finfo.items[kMp].out_mask, 0xFFC00000U);
  EXPECT_EQ(finfo.items[kHpNode].out_count, 22U);
  // The reserved one is read.
  EXPECT_EQ(finfo.reserved_items.in_mask, 0x33333333U);
  EXPECT_EQ(finfo.reserved_items.in_count, 16U);
  const Bytes written = Written();
  ASSERT_EQ(written.size(), 256U);
  for (const size_t at : {36, 40, 56, 80, 84}) EXPECT_EQ(GetU32(written, at), 0U) << at;
}

// ---- what is written beside the masks ----

TEST_F(HeaderTest, NewRevisionsKeepTheInputsBytesAndStamp) {
  Bytes input = HeaderRecord({.revision = 0x1D, .time = 0x01020304});
  for (size_t at = 14; at < 256; ++at) {
    if (at < 32 || at >= 88) spell::SetU8(input, at, static_cast<uint32_t>(at ^ 0xA5));
  }
  ReadBytes(input);
  finfo.record_time = 999;  // a later record
  finfo.configuration = 0x0A0B0C0D;
  const Bytes written = Written();
  EXPECT_EQ(written.substr(88), input.substr(88));
  EXPECT_EQ(written.substr(0, 12), input.substr(0, 12));
  EXPECT_EQ(written.at(12), 'H');
  EXPECT_EQ(written.substr(13, 3), input.substr(13, 3));
  EXPECT_EQ(GetU32(written, 16), 0x0A0B0C0DU);
  EXPECT_EQ(written.substr(20, 12), input.substr(20, 12));
  EXPECT_EQ(Bytes(reinterpret_cast<const char*>(finfo.header_written), 256), input);
  EXPECT_EQ(Bytes(reinterpret_cast<const char*>(finfo.header_read), 256), input);
}

TEST_F(HeaderTest, OldRevisionsWriteZerosAndTheTimeOfTheRecordAtHand) {
  for (const uint8_t revision : Revisions{0x13, 0x1C}) {
    ResetEngine();
    Bytes input = HeaderRecord({.revision = revision, .time = 5});
    for (size_t at = 14; at < input.size(); ++at) {
      if (at < 16 || (at >= 20 && at < 32) || at >= (revision < 0x19 ? 64 : 88)) input[at] = 'z';
    }
    ReadBytes(input);
    finfo.record_time = 0x0A0B0C0D;
    const Bytes written = Written();
    ASSERT_EQ(written.size(), input.size());
    EXPECT_EQ(GetU32(written, 4), 0x0A0B0C0DU);
    EXPECT_EQ(spell::GetU16(written, 14), 0U);
    EXPECT_EQ(written.substr(20, 12), Bytes(12, '\0'));
    const size_t end = revision < 0x19 ? 56 : 84;
    EXPECT_EQ(written.substr(end), Bytes(written.size() - end, '\0')) << int{revision};
  }
}

}  // namespace
