// Records that are read side by side give what they give one by one: archive, messages, status,
// what is left of an output. Logs are damaged at every section of every record, and read with
// pieces that hold whole records and with such as hold a few entries.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "areas/finfo.h"
#include "engine/input_bytes.h"
#include "revisions/fold/kernel.h"
#include "revisions/sets/lookup.h"
#include "revisions/statistics.h"
#include "tests/revisions/broken_input_fixture.h"
#include "tests/revisions/items_fixture.h"
#include "tests/revisions/many_slots_run.h"
#include "tests/revisions/side_by_side_logs.h"
#include "tests/support/engine_run.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

class SideBySide : public ::testing::TestWithParam<int> {
 protected:
  static constexpr char kName[] = "20240101A.psl";

  // What a run tells and leaves.
  using Outcome = std::tuple<int, std::string, std::vector<std::string>, int32_t,
                             std::map<std::string, std::string>>;

  Outcome Run(bool automatic, const std::string& log) {
    usLdCursor = usPdCursor = 0;  // as in a process of its own
    std::filesystem::remove_all(directory_.Path("archive"));
    directory_.MakeDirectory("archive");
    directory_.Write(kName, log);
    directory_.Write("20240101A#002.psl", second_);
    const std::vector<std::string> names = {kName, "20240101A#002.psl"};
    std::vector<std::string> paths;
    for (const std::string& name : names) paths.push_back(directory_.Path(name));
    const EngineOutcome outcome =
        automatic ? RunAutomatic(directory_, names, 'H')
                  : RunManual(paths, {.directory = directory_.Path("archive/")});
    std::map<std::string, std::string> files;
    for (const std::string& name : directory_.Names("archive")) {
      files[name] = directory_.Read("archive/" + name);
    }
    return {outcome.status, outcome.err, outcome.trace, outcome.failed, files};
  }

  // Reads the log one by one and side by side, by large and small pieces, in both sorts of run.
  void Compare(const std::string& log) {
    for (const bool automatic : {false, true}) {
      Outcome expected;
      {
        const Reading one_by_one(1, kPieceBytes);
        expected = Run(automatic, log);
      }
      ++runs_;
      if (std::get<0>(expected) != kReturned || std::get<3>(expected) != 0) ++broken_;
      for (const size_t piece : {kPieceBytes, SmallPiece(GetParam())}) {
        SCOPED_TRACE(piece);
        const Reading side_by_side(10, piece);
        ASSERT_EQ(Run(automatic, log), expected);
      }
    }
  }

  const TimeZone zone_{"UTC"};
  const InMemory in_memory_;
  TempDir directory_;
  std::string second_ = MadeLog(GetParam(), 2).Make();  // the archive goes on with it
  int runs_ = 0;
  int broken_ = 0;
};

std::string SideBySideName(const ::testing::TestParamInfo<int>& test) {
  return "Rev" + RevisionName(test.param);
}
INSTANTIATE_TEST_SUITE_P(Revisions, SideBySide, ::testing::ValuesIn(AllRevisions()),
                         SideBySideName);

TEST_P(SideBySide, WholeLogs) {
  for (uint32_t seed = 10; seed < 14; ++seed) Compare(MadeLog(GetParam(), seed).Make());
  EXPECT_EQ(broken_, 0);
}

// Folded by no vector kernel, they give the same.
TEST_P(SideBySide, WholeLogsWithoutKernels) {
  const FoldKernels* const kernels = fold_kernels;
  const std::string log = MadeLog(GetParam(), 10).Make();
  const Outcome expected = Run(false, log);
  SetKernels(nullptr);
  Compare(log);
  EXPECT_EQ(Run(false, log), expected);
  SetKernels(kernels);
  EXPECT_EQ(broken_, 0);
}

// A table that has a key twice says nothing of the order of entries: searches go on from the last
// disk, but begin anew for each port.
TEST_P(SideBySide, KeysThatStandTwice) {
  std::string log = spell::HeaderRecord({.revision = static_cast<uint8_t>(GetParam())});
  StructureBuilder structure(GetParam());
  for (const Kind kind : {kPd, kDp}) structure.Add(kind, {{1, 1}, {2, 2}, {1, 1}, {3, 3}});
  log += spell::TextOf(structure.Build());
  for (uint32_t i = 0; i < 5; ++i) {
    StatisticsBuilder record(GetParam());
    record.time = spell::kNewYear + i;
    for (const Kind kind : {kPd, kDp}) {
      for (const int key : {1, 2, 1, 3}) {
        record.Add(kind, PlainEntry(GetParam(), kind, static_cast<uint8_t>(key), 1000 + 100 * i));
      }
    }
    log += spell::TextOf(record.Build());
  }
  Compare(log);
  EXPECT_EQ(broken_, 0);
}

// Stamps go back by two hours and come again, among records that are read together: the second of
// these changes ends the period.
TEST_P(SideBySide, StampsThatGoBack) {
  MadeLog made(GetParam(), 15);
  std::string log = made.Make();
  for (const size_t record : {5U, 9U, 10U}) {
    const uint32_t stamp = spell::kNewYear - 7200 + static_cast<uint32_t>(record);
    log.replace(made.starts[record] + 4, 4, spell::TextOf(Bytes(4).U32(0, stamp)));
  }
  Compare(log);
  EXPECT_EQ(broken_, 0);
}

// Entries out of order, two for one resource, disks that are not configured: what an entry goes to
// can depend on the record before it.
TEST_P(SideBySide, EntriesInAnyOrder) {
  for (uint32_t seed = 20; seed < 32; ++seed) {
    SCOPED_TRACE(seed);
    Compare(MadeLog(GetParam(), seed, seed % 3 == 0 ? 1000 : 300).Make());
  }
}

// A disk that no table has goes to where the search before it ended: in another file, in the record
// before, in the wait times of that. A disk that comes twice later has the period repeated.
TEST_P(SideBySide, SearchesResumeWhereTheyHaveEnded) {
  MadeLog first(GetParam(), 40);
  for (auto* keys : {&first.logical, &first.physical}) {
    (*keys)[{kRecords + 2, kOfEach - 1}] = 4;  // the searches end there
  }
  const std::string log = first.Make();
  for (const int strange : {0, 9, 10, 11}) {
    for (const int late : {3, 9, 10, 12, 99}) {
      SCOPED_TRACE(std::to_string(strange) + ", " + std::to_string(late));
      MadeLog second(GetParam(), 41);
      for (auto* keys : {&second.logical, &second.physical}) {
        // Logical disks are searched from the start before 0x15, and must be found.
        if (keys == &second.physical || GetParam() >= 0x15) (*keys)[{strange, 0}] = 99;
        (*keys)[{late, 5}] = 2;
      }
      second_ = second.Make();
      Compare(log);
      if (HasFatalFailure()) return;
    }
  }
  EXPECT_EQ(broken_, 0);
}

// Each section header and each section of each record, in one revision of each family.
class SideBySideDamaged : public SideBySide {};
INSTANTIATE_TEST_SUITE_P(Revisions, SideBySideDamaged,
                         ::testing::Values(0x10, 0x12, 0x13, 0x16, 0x1A, 0x1D, 0x21),
                         SideBySideName);

// Entries that are compact and not valid where those of the record before were: one of another
// resource among them, or one that is compact where it was not.
TEST_P(SideBySideDamaged, NoEntryIsTakenForThatOfTheRecordBefore) {
  for (const int record : {2, 9, 11}) {
    for (const int place : {0, 4, 7}) {
      SCOPED_TRACE(std::to_string(record) + ", " + std::to_string(place));
      MadeLog other(GetParam(), 50);
      other.steady = true;
      for (auto* keys : {&other.logical, &other.physical}) (*keys)[{record, place}] = 2;
      Compare(other.Make());
      MadeLog turned(GetParam(), 51);
      turned.steady = true;
      turned.turned = {{record, place}};
      Compare(turned.Make());
      if (HasFatalFailure()) return;
    }
  }
  EXPECT_EQ(broken_, 0);
}

// The last entry of a section turns: behind it none would tell that it was taken for another.
TEST_P(SideBySideDamaged, NoLastEntryIsTakenForThatOfTheRecordBefore) {
  for (const int record : {2, 9, 11}) {
    MadeLog made(GetParam(), 54);
    made.steady = true;
    made.of_each = 8;  // a tile
    made.turned = {{record, 7}};
    Compare(made.Make());
  }
  EXPECT_EQ(broken_, 0);
}

// Records in which a tile rests among others, and such in which it is full.
TEST_P(SideBySideDamaged, TilesThatRestAtTimes) {
  for (const bool full : {false, true}) {
    MadeLog made(GetParam(), 52);
    made.steady = true;
    for (const int record : {3, 4, 8, 11}) made.TurnTile(record, full);
    for (const int record : {6, 7}) made.TurnTile(record, !full);
    Compare(made.Make());
  }
  EXPECT_EQ(broken_, 0);
}

// The last section of a record leaves it, though its entries go on behind, where the counters of
// one look like the next record: full ones, mixed ones as in the record before, and idle ones.
class SideBySideCut : public SideBySide {};
INSTANTIATE_TEST_SUITE_P(BeforeItems, SideBySideCut, ::testing::Values(0x10, 0x12, 0x13, 0x16),
                         SideBySideName);

TEST_P(SideBySideCut, EntriesBehindTheirRecordAreNotTaken) {
  enum { kFull, kMixed, kIdle };
  size_t size = 0;  // of a full entry
  for (const int tile : {kFull, kMixed, kIdle}) {
    SCOPED_TRACE(tile);
    MadeLog made(GetParam(), 53);
    made.steady = true;
    if (tile != kMixed) made.TurnTile(kRecords + 2, tile == kFull);
    std::string log = made.Make();
    const size_t start = made.starts.back();
    const Bytes record(
        std::vector<uint8_t>(log.begin() + static_cast<std::ptrdiff_t>(start), log.end()));
    size_t last = 0;
    for (const size_t slot : SlotsOf(static_cast<uint8_t>(GetParam()))) {
      last = std::max<size_t>(last, record.Get32(slot + 4));
    }
    const size_t section = record.Get32(8) - last;
    if (tile == kFull) size = section / kOfEach;
    size_t length = last + size + 32;
    if (tile == kIdle) {
      const size_t head = (section - (kOfEach - 8) * size) / 8;
      if (head < 32) continue;  // nothing but what tells whose entry it is
      length = last + head + 16;
    }
    const size_t behind = log.size() - start - length;
    log.replace(start + 8, 4, spell::TextOf(Bytes(4).U32(0, length)));
    log.replace(start + length, 12, spell::FreeRecord(behind).substr(0, 12));
    Compare(log);
  }
  EXPECT_EQ(broken_, runs_);
}

TEST_P(SideBySideDamaged, DamageAtEverySectionOfEveryRecord) {
  MadeLog made(GetParam(), 1);
  const std::string log = made.Make();
  Figures figures(static_cast<uint32_t>(GetParam()));
  const std::vector<size_t> slots = SlotsOf(static_cast<uint8_t>(GetParam()));
  for (const size_t start : made.starts) {
    const Bytes record(
        std::vector<uint8_t>(log.begin() + static_cast<std::ptrdiff_t>(start), log.end()));
    for (const size_t slot : slots) {
      const size_t section = record.Get32(slot + 4);
      if (section == 0 || section >= record.Get32(8)) continue;
      const size_t next = start + section;
      const size_t places[] = {start + slot + 2 + figures.Below(6), next + 8 + figures.Below(5),
                               next + 60 + figures.Below(900)};
      std::string damaged = log;
      const size_t at = places[figures.Below(3)];
      if (at >= log.size()) continue;
      damaged[at] = static_cast<char>(damaged[at] ^ (1 << figures.Below(8)));
      SCOPED_TRACE("record at " + std::to_string(start) + ", byte " + std::to_string(at - start));
      Compare(damaged);
      if (HasFatalFailure()) return;
    }
  }
  RecordProperty("damaged", runs_);
  RecordProperty("broken", broken_);
  printf("%d damaged runs, %d of them broken\n", runs_, broken_);
  EXPECT_GT(runs_, 100);
  EXPECT_GT(broken_, runs_ / 5);
  EXPECT_LT(broken_, runs_);
}

// What lies between the sections of a record is read and takes no memory: 600 MB in a process that
// may take 256 MB.
TEST(SideBySideSparse, GapsTakeNoMemory) {
  constexpr uint32_t kGap = 600U << 20;
  const auto archive = [](uint32_t gap) {
    const TempDir directory;
    const std::string path = directory.Path("20240101A.psl");
    StructureBuilder structure(0x21);
    StatisticsBuilder record(0x21);
    for (uint8_t key = 1; key <= kOfEach; ++key) {
      structure.Add(kLd, {{key, key}});
      record.Add(kLd, PlainEntry(0x21, kLd, key, 1000));
    }
    Bytes built = record.Build();
    const size_t entries = size_t{kOfEach} * 96;
    const size_t head = built.size() - entries;
    built.U32(8, built.size() + gap);
    const auto slot = static_cast<size_t>(FindKind(KindsOf(0x21), kLd)->slot);
    built.U32(slot + 4, head + gap);
    const std::string text = spell::TextOf(built);
    std::ofstream file(path, std::ios::binary);
    file << spell::HeaderRecord({.revision = 0x21}) << spell::TextOf(structure.Build());
    file << text.substr(0, head);
    file.seekp(gap, std::ios::cur);
    file << text.substr(head);
    file.close();
    EXPECT_EQ(RunManual({path}, {.outpath = directory.Path("out")}).status, kReturned);
    return directory.Read("out");
  };
  const std::string expected = archive(0);
  EXPECT_EQ(spell::Tags(expected), "HDR CON STA");
  const int status = RunInChild([&] {
    if (!LimitMemory()) return 90;
    return archive(kGap) == expected && !::testing::Test::HasFailure() ? 0 : 1;
  });
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace revtest
