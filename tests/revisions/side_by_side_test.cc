// Records that are read side by side give what they give one by one: archive, messages, status,
// what is left of an output. Logs are damaged at every section of every record, and read with
// pieces that hold whole records and with such as hold a few entries.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

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
#include "revisions/sets/lookup.h"
#include "revisions/statistics.h"
#include "tests/revisions/broken_input_fixture.h"
#include "tests/revisions/items_fixture.h"
#include "tests/revisions/many_slots_run.h"
#include "tests/support/engine_run.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

constexpr uint8_t kOfEach = 11;  // resources: a tile and a rest
constexpr int kRecords = 13;     // of the first hour: one batch and the beginning of another

// Sets how records are read while it exists.
class Reading {
 public:
  Reading(size_t records, size_t piece) {
    records_at_a_time = records;
    piece_bytes = piece;
  }
  ~Reading() {
    records_at_a_time = 10;
    piece_bytes = kPieceBytes;
  }
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;
};

// A log of every kind with random figures, and optional items.
class MadeLog {
 public:
  // `strangers`: of so many entries one has the key of another resource or of none.
  MadeLog(int revision, uint32_t seed, uint32_t strangers = 0)
      : revision_(revision), figures_(seed), strangers_(strangers) {}

  std::string Make() {
    starts.clear();
    std::string log = spell::HeaderRecord({.revision = static_cast<uint8_t>(revision_)});
    log += spell::TextOf(Structure());
    const bool nodes = revision_ >= 0x1A;
    for (int i = 0; i < kRecords + 3; ++i) {
      if (i == 4) log += spell::FixedRecord("NNC", 80);
      if (i == 7) log += spell::FreeRecord(40);
      starts.push_back(log.size());
      log += spell::TextOf(Statistics(i, nodes));
    }
    return log;
  }
  std::vector<size_t> starts;  // of the statistics records
  // Keys of entries of logical and physical disks instead of their own, by record and place.
  std::map<std::pair<int, int>, uint8_t> logical, physical;
  Bytes padding;  // behind the sections of each statistics record

 private:
  Bytes Structure() const {
    StructureBuilder all = OneOfEach(revision_, false, 1);
    for (uint8_t key = 2; key <= kOfEach; ++key) {
      for (auto& [slot, entries] : OneOfEach(revision_, false, key).lists) {
        all.lists[slot].insert(all.lists[slot].end(), entries.begin(), entries.end());
      }
    }
    all.basic.U16(98, 0x8002).U16(100, 0x8002).U16(102, 0x8002).U16(104, 0x8002).U8(97, 0x20);
    return all.Build();
  }

  Bytes Statistics(int i, bool nodes) {
    StatisticsBuilder record = EntryOfEach(revision_, 0);
    const uint32_t hour = i < kRecords ? 0 : 3600;
    record.time = spell::kNewYear + hour + static_cast<uint32_t>(i);
    std::vector<Kind> kinds;
    for (const auto& [kind, entries] : record.sections) kinds.push_back(kind);
    if (nodes) kinds.push_back(kHpNode);
    record.sections.clear();
    for (const Kind kind : kinds) {
      for (uint8_t key = 1; key <= kOfEach; ++key) {
        const bool by_position = revision_ >= 0x1D && (kind == kHp || kind == kRp || kind == kMp);
        const bool stranger = strangers_ != 0 && !by_position && figures_.OneIn(strangers_);
        const uint8_t usual = stranger ? StrangerIn(kind) : key;
        record.Add(kind, Entry(kind, KeyInstead(kind, i, key - 1, usual)));
      }
    }
    if (revision_ >= 0x18) {
      record.Item(Item({.type = kConcType, .elements = {Conc(figures_.Below(4), 1)}}));
      record.Item(Item({.type = kCabType,
                        .flag = 0x80,
                        .interval = 5,
                        .elements = {Cab(1, 2, figures_.Next()), Cab(2, 2, figures_.Next())}}));
      // Of a disk that no table has, which goes to where the section has left the search, and of
      // one in the midst, where it goes on.
      const uint32_t n = figures_.Below(1000);
      record.Item(Item({.type = kWaitType,
                        .interval = 1000,
                        .elements = {Wait(0x6363, n, 2, 3, 4), Wait(0x0404, n, 3, 4, 5)}}));
    }
    Bytes built = record.Build().Add(padding);
    return built.U32(8, built.size());
  }

  uint8_t KeyInstead(Kind kind, int record, int place, uint8_t usual) const {
    if (kind != kLd && kind != kPd) return usual;
    const auto& keys = kind == kLd ? logical : physical;
    const auto found = keys.find({record, place});
    return found != keys.end() ? found->second : usual;
  }

  Bytes Entry(Kind kind, uint8_t key) {
    Bytes entry = PlainEntry(revision_, kind, key, 1 + figures_.Below(3) * 1000);
    entry.U32(0, figures_.Next());
    if (kind == kCache) return entry;
    const EntryFacts facts = EntryOf(kind, revision_);
    for (int k = 0; k < facts.quads; ++k) {
      entry.Quad(static_cast<size_t>(facts.quads_at + 16 * k), figures_.Next(), figures_.Next(),
                 figures_.Next(), figures_.Next());
    }
    if (figures_.OneIn(12)) entry.U8(static_cast<size_t>(facts.not_valid), 1);
    const std::vector<KindFacts> kinds = KindsOf(revision_);
    const int head = FindKind(kinds, kind)->head;
    if (head == 0 || !figures_.OneIn(5)) return entry;
    return entry.U8(static_cast<size_t>(facts.compact), 1).Part(0, static_cast<size_t>(head));
  }

  // Disks that no table has go to where the search stands; with others a record is broken.
  uint8_t StrangerIn(Kind kind) {
    const bool by_cursor = kind == kPd || (kind == kLd && revision_ >= 0x15);
    return static_cast<uint8_t>(1 + figures_.Below(by_cursor ? kOfEach + 5 : kOfEach));
  }

  int revision_;
  Figures figures_;
  uint32_t strangers_;
};

// Gives the last disk port of a record the key of none. Disk ports are never compact.
void BreakLastDiskPort(std::string* log, size_t start, int revision) {
  const std::vector<KindFacts> kinds = KindsOf(revision);
  const KindFacts& ports = *FindKind(kinds, kDp);
  const auto word = [&](size_t at) {
    return Bytes(std::vector<uint8_t>(log->begin() + static_cast<std::ptrdiff_t>(at),
                                      log->begin() + static_cast<std::ptrdiff_t>(at + 4)))
        .Get32(0);
  };
  const size_t section = start + word(start + static_cast<size_t>(ports.slot) + 4);
  const size_t last = section + static_cast<size_t>(ports.entry) * (kOfEach - 1);
  (*log)[last + 8] = '\xEE';
  (*log)[last + 9] = '\xEE';
}

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
      for (const size_t piece : {kPieceBytes, size_t{200}}) {
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

// A record that is broken late counts before one behind it that cannot be read, and the other way
// round, though all pieces but the last of both are read before.
TEST_P(SideBySide, FirstRecordInTroubleIsToldOf) {
  for (const bool broken : {false, true}) {
    for (const bool unreadable_first : {false, true}) {
      const Reading by_small_pieces(10, 200);
      Capture errors(2);
      RevisionRun run(GetParam());
      MadeLog made(GetParam(), 1);
      std::string log = made.Make();
      const size_t head = spell::HeaderSize(static_cast<uint8_t>(GetParam()));
      const size_t broken_record = made.starts[unreadable_first ? 2 : 1];
      if (broken) BreakLastDiskPort(&log, broken_record, GetParam());
      log.resize(made.starts[3]);
      run.Append(
          Bytes(std::vector<uint8_t>(log.begin() + static_cast<std::ptrdiff_t>(head), log.end())));
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

// Bytes that nobody uses are read, too: one that is missing is an error of its record.
TEST_P(SideBySide, UnusedBytesBehindSectionsAreRead) {
  const Reading by_small_pieces(10, 200);
  const Capture errors(2);
  RevisionRun run(GetParam());
  MadeLog made(GetParam(), 1);
  made.padding = Bytes(1000);
  const std::string log = made.Make();
  const size_t head = spell::HeaderSize(static_cast<uint8_t>(GetParam()));
  run.Append(
      Bytes(std::vector<uint8_t>(log.begin() + static_cast<std::ptrdiff_t>(head),
                                 log.begin() + static_cast<std::ptrdiff_t>(made.starts[3]))));
  ASSERT_EQ(ftruncate(rfd, static_cast<off_t>(made.starts[3] - head - 2)), 0);
  EXPECT_EQ(StatusOf([&] { run.ReadOn(); }), 1);
  EXPECT_NE(errors.Text().find(" 110 "), std::string::npos) << errors.Text();
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
