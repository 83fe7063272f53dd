// Bytes that cannot be read, and files that change, while records are read side by side: what is
// told, and of which record.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "engine/input_bytes.h"
#include "engine/stream.h"
#include "revisions/statistics.h"
#include "tests/revisions/side_by_side_logs.h"
#include "tests/support/bad_place.h"
#include "tests/support/engine_run.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"
#include "tests/support/run_state.h"

namespace revtest {
namespace {

// The bytes of a log between two places, as records.
Bytes PartOf(const std::string& log, size_t from, size_t to) {
  return Bytes(std::vector<uint8_t>(log.begin() + static_cast<std::ptrdiff_t>(from),
                                    log.begin() + static_cast<std::ptrdiff_t>(to)));
}

class SideBySideFaults : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Revisions, SideBySideFaults, ::testing::ValuesIn(AllRevisions()),
                         [](const ::testing::TestParamInfo<int>& test) {
                           return "Rev" + RevisionName(test.param);
                         });

// A record that is broken late counts before one behind it that cannot be read, and the other way
// round, though all pieces but the last of both are read before.
TEST_P(SideBySideFaults, FirstRecordInTroubleIsToldOf) {
  for (const bool broken : {false, true}) {
    for (const bool unreadable_first : {false, true}) {
      const Reading by_small_pieces(10, SmallPiece(GetParam()));
      Capture errors(2);
      RevisionRun run(GetParam());
      MadeLog made(GetParam(), 1);
      std::string log = made.Make();
      const size_t head = spell::HeaderSize(static_cast<uint8_t>(GetParam()));
      const size_t broken_record = made.starts[unreadable_first ? 2 : 1];
      if (broken) BreakLastDiskPort(&log, broken_record, GetParam());
      run.Append(PartOf(log, head, made.starts[3]));
      // The file ends before its size says: in the third record, or in the second.
      const size_t end = (unreadable_first ? made.starts[2] : made.starts[3]) - head - 2;
      ASSERT_EQ(ftruncate(rfd, static_cast<off_t>(end)), 0);
      EXPECT_EQ(StatusOf([&] { run.ReadOn(); }), 1);
      const bool told_broken = errors.Text().find(" 112 ") != std::string::npos;
      const bool told_unreadable = errors.Text().find(" 110 ") != std::string::npos;
      EXPECT_EQ(told_broken, broken && !unreadable_first) << errors.Text();
      EXPECT_NE(told_broken, told_unreadable) << errors.Text();
    }
  }
}

// Once, a window that ended before the place in question told of another error than one that began
// there.
TEST_P(SideBySideFaults, ErrorOfAReadIsTheSameWhateverAWindowHolds) {
  MadeLog made(GetParam(), 1);
  const std::string log = made.Make();
  const size_t head = spell::HeaderSize(static_cast<uint8_t>(GetParam()));
  const auto size = static_cast<int64_t>(made.starts[kRecords + 1] - head);
  for (const size_t place : {made.starts[1] + 200, made.starts[2], made.starts[2] + 5,
                             made.starts[kRecords] - 1, made.starts[kRecords + 1] - 2}) {
    for (const size_t window : {SmallPiece(GetParam()), size_t{1000}, size_t{4096}, kPieceBytes}) {
      for (const bool automatic : {false, true}) {
        SCOPED_TRACE(testing::Message() << place << " by " << window << ", " << automatic);
        const Reading by_windows(place % 2 == 0 ? 10 : 1, window);
        const Bytes before = PartOf(log, head, place);
        const BadPlace bad({before.data(), before.size()});
        for (const bool ends_there : {false, true}) {
          Capture errors(2);
          RevisionRun run(GetParam());
          if (automatic) run.Automatic();
          if (ends_there) {
            run.Append(before);
            finfo.input_size = size;
          } else {
            ASSERT_NE(dup2(bad.fd(), rfd), -1);
            StartInput(bad.start());
            finfo.input_size = bad.start() + size;
          }
          EXPECT_EQ(StatusOf([&] { run.ReadOn(); }), 1);
          EXPECT_EQ(
              errors.Text(),
              std::string("Qelprfarc: 110 Read error -- 20240101array.psl  func=read errno=") +
                  (ends_there ? "0\n" : "5\n"));
        }
      }
    }
  }
}

// Bytes that nobody uses are read, too: one that is missing is an error of its record.
TEST_P(SideBySideFaults, UnusedBytesBehindSectionsAreRead) {
  const Reading by_small_pieces(10, SmallPiece(GetParam()));
  const Capture errors(2);
  RevisionRun run(GetParam());
  MadeLog made(GetParam(), 1);
  made.padding = Bytes(1000);
  const std::string log = made.Make();
  const size_t head = spell::HeaderSize(static_cast<uint8_t>(GetParam()));
  run.Append(PartOf(log, head, made.starts[3]));
  ASSERT_EQ(ftruncate(rfd, static_cast<off_t>(made.starts[3] - head - 2)), 0);
  EXPECT_EQ(StatusOf([&] { run.ReadOn(); }), 1);
  EXPECT_NE(errors.Text().find(" 110 "), std::string::npos) << errors.Text();
}

// What stands in an output when the record that begins the second hour cannot be read whole.
TEST_P(SideBySideFaults, PeriodIsWrittenWhenTheNextRecordHasBeenRead) {
  std::vector<off_t> written;
  for (const size_t records : {1, 10}) {
    const Reading reading(records, SmallPiece(GetParam()));
    Capture errors(2);
    RevisionRun run(GetParam());
    MadeLog made(GetParam(), 1);
    const std::string log = made.Make();
    const size_t head = spell::HeaderSize(static_cast<uint8_t>(GetParam()));
    run.Append(PartOf(log, head, made.starts[kRecords + 1]));
    ASSERT_EQ(ftruncate(rfd, static_cast<off_t>(made.starts[kRecords + 1] - head - 2)), 0);
    const int output = dup(wfd);
    EXPECT_EQ(StatusOf([&] { run.ReadOn(); }), 1);
    EXPECT_NE(errors.Text().find(" 110 "), std::string::npos) << errors.Text();
    written.push_back(lseek(output, 0, SEEK_END));
    close(output);
  }
  EXPECT_EQ(written[0], written[1]);
  EXPECT_GE(written[0], 0);
}

// The system cannot give what lies behind the header of the last record. It is asked for when the
// statistics record before it is read, but only another one of those must be readable.
TEST_P(SideBySideFaults, OnlyStatisticsRecordsBehindMustBeReadable) {
  const Reading by_small_pieces(10, SmallPiece(GetParam()));
  const auto read = [](const std::string& last) {
    Capture errors(2);
    RevisionRun run(GetParam());
    MadeLog made(GetParam(), 1);
    const std::string log = made.Make();
    const size_t head = spell::HeaderSize(static_cast<uint8_t>(GetParam()));
    run.Append(PartOf(log, head, made.starts[3]));
    run.Append(PartOf(last, 0, last.size()));
    const off_t end = finfo.input_size - static_cast<off_t>(last.size()) + 20;
    if (ftruncate(rfd, end) != 0) return std::string("not cut");
    const int status = StatusOf([&] { run.ReadOn(); });
    return std::to_string(status) + errors.Text().substr(0, std::string("Qelprfarc: 112").size());
  };
  const std::string returned = std::to_string(kReturned);
  EXPECT_EQ(read(spell::FreeRecord(400)), returned);
  EXPECT_EQ(read(spell::FixedRecord("XYZ", 400)), "1Qelprfarc: 112");
  EXPECT_EQ(read(spell::FixedRecord("STA", 13)), "1Qelprfarc: 112");
  EXPECT_EQ(read(spell::FixedRecord("STA", 400)), "1Qelprfarc: 110");
  EXPECT_EQ(read(spell::FixedRecord("NNC", 400)), "1Qelprfarc: 110");
}

// A period that must be repeated as its third record is broken, but somebody has written to its
// first record meanwhile, what `change` makes of it. Returns how far behind that one the record
// begins at which the run broke off.
int64_t ChangeBeforeItIsReadAgain(
    int revision, const std::function<void(std::string& log, size_t first)>& change) {
  const Reading by_small_pieces(10, SmallPiece(revision));
  Capture errors(2);
  RevisionRun run(revision);
  run.Automatic();
  MadeLog made(revision, 1);
  std::string log = made.Make();
  const size_t head = spell::HeaderSize(static_cast<uint8_t>(revision));
  BreakLastDiskPort(&log, made.starts[2], revision);
  run.Append(PartOf(log, head, made.starts[2]));
  run.ReadOn();
  change(log, made.starts[0]);
  const size_t first = made.starts[1] - made.starts[0];
  EXPECT_EQ(
      pwrite(rfd, log.data() + made.starts[0], first, static_cast<off_t>(made.starts[0] - head)),
      static_cast<ssize_t>(first));
  run.Append(PartOf(log, made.starts[2], made.starts[3]));
  EXPECT_EQ(StatusOf([&] { run.ReadOn(); }), kReturned);
  EXPECT_EQ(auto_break_flg, 1);
  EXPECT_EQ(errors.Text(), "Qelprfarc: 112 Record broken -- 20240101array.psl\n");
  return finfo.record_start - static_cast<int64_t>(made.starts[0] - head);
}

TEST_P(SideBySideFaults, RecordChangedBeforeItIsReadAgain) {
  for (const char length : {'\0', '\x0C', '\x14'}) {
    SCOPED_TRACE(int{length});
    ChangeBeforeItIsReadAgain(GetParam(), [length](std::string& log, size_t first) {
      log.replace(first + 8, 4, {'\0', '\0', '\0', length});
    });
  }
}

// The same, when its header is what it was, but an entry names a port that is not there.
TEST_P(SideBySideFaults, EntryChangedBeforeItIsReadAgain) {
  EXPECT_EQ(ChangeBeforeItIsReadAgain(
                GetParam(),
                [](std::string& log, size_t first) { BreakLastDiskPort(&log, first, GetParam()); }),
            0)
      << "told of another";
}

// What lies between the head of a record and its first section, read on the way there.
TEST(SideBySideGap, ThatCannotBeReadIsAnErrorOfItsRecord) {
  const Reading by_small_pieces(10, 200);
  Capture errors(2);
  RevisionRun run(0x21);
  run.Feed(StructureBuilder(0x21).Add(kLd, {{1, 1}, {2, 2}}).Build());
  StatisticsBuilder record(0x21);
  for (uint8_t key = 1; key <= 2; ++key) record.Add(kLd, PlainEntry(0x21, kLd, key, 1000));
  Bytes built = record.Build();
  const size_t entries = size_t{2} * 96;
  const size_t head = built.size() - entries;
  constexpr size_t kGap = 2000;
  const auto slot = static_cast<size_t>(FindKind(KindsOf(0x21), kLd)->slot);
  built.U32(8, built.size() + kGap).U32(slot + 4, head + kGap);
  Bytes whole = built.Part(0, head).Add(Bytes(kGap)).Add(built.Part(head, entries));
  run.Append(whole);
  ASSERT_EQ(ftruncate(rfd, finfo.input_size - static_cast<off_t>(entries + 500)), 0);
  EXPECT_EQ(StatusOf([&] { run.ReadOn(); }), 1);
  EXPECT_NE(errors.Text().find(" 110 "), std::string::npos) << errors.Text();
}

}  // namespace
}  // namespace revtest
