// Broken and hostile inputs: records cut short, counts and offsets that point anywhere. Whatever an
// input says, a run ends in one of two ways: with a whole archive, or with message 112 and none.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "engine/finfo.h"
#include "tests/support/engine_run.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/run_state.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

namespace {

using spell::Bytes;
using spell::FixedRecord;
using spell::GetU16;
using spell::GetU32;
using spell::HeaderRecord;
using spell::HeadSize;
using spell::kNewYear;
using spell::Records;
using spell::SetU16;
using spell::SetU32;
using spell::SetU8;
using spell::Tags;

constexpr uint8_t kAllRevisions[] = {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18,
                                     0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0x20, 0x21};
constexpr char kName[] = "20240101A.psl";

Bytes FullStructure(uint8_t revision) { return spell::Structure(revision, {.all_kinds = true}); }
Bytes FullStatistics(uint8_t revision) { return spell::Statistics(revision, {.all_kinds = true}); }

// A log with one record of each sort and one resource of each kind.
Bytes FullLog(uint8_t revision) {
  return HeaderRecord({.revision = revision}) + FullStructure(revision) + FullStatistics(revision) +
         FixedRecord("NNC", 80) + FixedRecord("LDM", 64) + FullStatistics(revision);
}

// Leaves this process room for 256 MB more. The sanitizers' shadow needs more than any limit.
bool LimitMemory() {
#ifndef __SANITIZE_ADDRESS__
  constexpr rlim_t kRoom = rlim_t{256} << 20;
  std::ifstream statm("/proc/self/statm");
  rlim_t pages = 0;
  statm >> pages;
  const rlimit limit = {pages * 4096 + kRoom, pages * 4096 + kRoom};
  return setrlimit(RLIMIT_AS, &limit) == 0;
#else
  return true;
#endif
}

// Automatic runs sync their outputs: thousands of them want a file system in memory.
class InMemory {
 public:
  InMemory() {
    if (const char* directory = getenv("TMPDIR"); directory != nullptr) before_ = directory;
    if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 1);
  }
  ~InMemory() {
    if (before_.empty()) {
      unsetenv("TMPDIR");
    } else {
      setenv("TMPDIR", before_.c_str(), 1);
    }
  }
  InMemory(const InMemory&) = delete;
  InMemory& operator=(const InMemory&) = delete;

 private:
  std::string before_;
};

class BrokenInputTest : public ::testing::TestWithParam<uint8_t> {
 protected:
  EngineOutcome Manual(const Bytes& file) {
    directory_.Write(kName, file);
    std::filesystem::remove(directory_.Path("out"));
    const EngineOutcome outcome =
        RunManual({directory_.Path(kName)}, {.outpath = directory_.Path("out")});
    exists_ = directory_.Exists("out");
    archive_ = directory_.Read("out");
    return outcome;
  }

  std::string Message(const std::string& text, const std::string& rest = "") {
    return "Qelprfarc: " + text + " -- " + directory_.Path(kName) + rest + "\n";
  }

  bool IsBroken(const Bytes& file) {
    const EngineOutcome outcome = Manual(file);
    return outcome.status == 1 && outcome.err == Message("112 Record broken") && !exists_;
  }

  bool IsFine(const Bytes& file) {
    const EngineOutcome outcome = Manual(file);
    return outcome.status == kReturned && outcome.err.empty() && exists_;
  }

  // A log whose structure or statistics record is the one given.
  Bytes WithStructure(const Bytes& structure) {
    return HeaderRecord({.revision = GetParam()}) + structure;
  }
  Bytes WithStatistics(const Bytes& statistics) {
    return WithStructure(FullStructure(GetParam())) + statistics;
  }

  // The run ends in one of the ways that are allowed; its status.
  int ExpectDefinedEnd(const Bytes& file, const std::string& what) {
    const EngineOutcome outcome = Manual(file);
    if (outcome.status == kReturned) {
      EXPECT_EQ(outcome.err, "") << what;
      EXPECT_TRUE(exists_) << what;
      EXPECT_NO_THROW(Records(archive_)) << what;
    } else {
      EXPECT_EQ(outcome.status, 1) << what;
      EXPECT_EQ(outcome.err, Message("112 Record broken")) << what;
      EXPECT_FALSE(exists_) << what;
    }
    return outcome.status;
  }

  // Runs `body` in a child that may not take much memory.
  template <typename Body>
  void WithLittleMemory(Body body) {
    const int status = RunInChild([&] {
      if (!LimitMemory()) return 90;
      body();
      return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(status, 0);
  }

  const InMemory in_memory_;
  TempDir directory_;
  Bytes archive_;
  bool exists_ = false;
};

INSTANTIATE_TEST_SUITE_P(Revisions, BrokenInputTest, ::testing::ValuesIn(kAllRevisions),
                         RevisionParam<uint8_t>);

// Both sorts of run judge a file alike; automatic ones write to the operation log below the test
// prefix.
class PrefixBrokenInputTest : public BrokenInputTest {
 protected:
  PrefixBrokenInputTest() { directory_.MakeDirectory("archive"); }

  void ExpectSameEnd(const Bytes& file, const std::string& what) {
    const bool fine = ExpectDefinedEnd(file, what) == kReturned;
    const EngineOutcome outcome = RunAutomatic(directory_, {kName}, 'H');
    EXPECT_EQ(outcome.status, kReturned) << what;
    EXPECT_EQ(outcome.failed, fine ? 0 : 1) << what;
    const std::vector<std::string> names = directory_.Names("archive");
    ASSERT_EQ(names.size(), 1U) << what;
    EXPECT_EQ(directory_.Read("archive/" + names[0]), archive_) << what;
    std::filesystem::remove(directory_.Path("archive/" + names[0]));
  }
};

INSTANTIATE_TEST_SUITE_P(Revisions, PrefixBrokenInputTest, ::testing::ValuesIn(kAllRevisions),
                         RevisionParam<uint8_t>);

TEST_P(PrefixBrokenInputTest, TheUnbrokenLogIsArchived) {
  ASSERT_TRUE(IsFine(FullLog(GetParam())));
  EXPECT_EQ(Tags(archive_), "HDR CON NNC STA LDM STA");
  ExpectSameEnd(FullLog(GetParam()), "whole");
}

// ---- cut short ----

class CutTest : public BrokenInputTest {
 protected:
  void Cut(size_t step) {
    const Bytes whole = FullLog(GetParam());
    std::vector<size_t> ends;
    size_t end = 0;
    for (const spell::Found& record : Records(whole)) ends.push_back(end += record.bytes.size());
    const auto near_end = [&](size_t length) {
      for (const size_t at : ends) {
        if (length + 2 >= at && length <= at + 13) return true;
      }
      return false;
    };
    for (size_t length = 0; length <= whole.size(); ++length) {
      if (length % step != 0 && !near_end(length)) continue;
      const EngineOutcome outcome = Manual(whole.substr(0, length));
      const bool at_end = std::find(ends.begin(), ends.end(), length) != ends.end();
      if (length < ends[0]) {
        EXPECT_EQ(outcome.status, 1) << length;
        EXPECT_EQ(outcome.err, Message("110 Read error", "  func=read errno=0")) << length;
        EXPECT_FALSE(exists_) << length;
      } else if (at_end) {
        EXPECT_EQ(outcome.status, kReturned) << length;
        EXPECT_EQ(Records(archive_).size(), Records(whole.substr(0, length)).size()) << length;
      } else {
        EXPECT_EQ(outcome.status, 1) << length;
        EXPECT_EQ(outcome.err, Message("112 Record broken")) << length;
        EXPECT_FALSE(exists_) << length;
      }
    }
  }
};

TEST_P(CutTest, FileCutAnywhereIsReportedAndNotArchived) { Cut(29); }

INSTANTIATE_TEST_SUITE_P(Revisions, CutTest, ::testing::ValuesIn(kAllRevisions),
                         RevisionParam<uint8_t>);

class LongCutTest : public CutTest {};

TEST_P(LongCutTest, FileCutAtEveryLengthIsReportedAndNotArchived) { Cut(1); }

INSTANTIATE_TEST_SUITE_P(LongRevisions, LongCutTest, ::testing::ValuesIn(kAllRevisions),
                         RevisionParam<uint8_t>);

// The record's own length says that it ends earlier.
TEST_P(PrefixBrokenInputTest, RecordThatSaysItIsShorterNeverReadsBehindItsEnd) {
  WithLittleMemory([this] {
    const Bytes structure = FullStructure(GetParam());
    for (size_t length = 12; length < structure.size(); length += 11) {
      Bytes cut = structure.substr(0, length);
      SetU32(cut, 8, static_cast<uint32_t>(length));
      ExpectSameEnd(WithStructure(cut) + FullStatistics(GetParam()),
                    "structure record of " + std::to_string(length));
    }
    const Bytes statistics = FullStatistics(GetParam());
    for (size_t length = 12; length < statistics.size(); length += 23) {
      Bytes cut = statistics.substr(0, length);
      SetU32(cut, 8, static_cast<uint32_t>(length));
      EXPECT_TRUE(IsBroken(WithStatistics(cut))) << length;
    }
  });
}

// ---- counts and offsets ----

// Where slots stand in the head of either record.
std::vector<size_t> Slots(uint8_t revision) {
  std::vector<size_t> slots;
  const size_t last = revision < 0x19 ? HeadSize(revision) - 8 : 144;
  for (size_t at = 16; at <= last; at += 8) {
    if (revision >= 0x14 && revision < 0x19 && at > 80) break;  // the trailing section's offset
    slots.push_back(at);
  }
  return slots;
}

TEST_P(PrefixBrokenInputTest, CountsAndOffsetsOfAnyValueHaveADefinedEnd) {
  WithLittleMemory([this] {
    const uint8_t revision = GetParam();
    for (const bool in_structure : {true, false}) {
      const Bytes whole = in_structure ? FullStructure(revision) : FullStatistics(revision);
      for (const size_t slot : Slots(revision)) {
        const uint32_t count = GetU16(whole, slot + 2);
        const uint32_t offset = GetU32(whole, slot + 4);
        const auto size = static_cast<uint32_t>(whole.size());
        for (const uint32_t value : {0U, count + 1, 0x7FFFU, 0x8000U, 0xFFFFU}) {
          Bytes changed = whole;
          SetU16(changed, slot + 2, value);
          const std::string what = "count at " + std::to_string(slot + 2) + " = " +
                                   std::to_string(value) + (in_structure ? " CON" : " STA");
          ExpectSameEnd(in_structure ? WithStructure(changed) + FullStatistics(revision)
                                     : WithStatistics(changed),
                        what);
        }
        for (const uint32_t value :
             {0U, offset + 1, 1U, size - 1, size, size + 1, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
          Bytes changed = whole;
          SetU32(changed, slot + 4, value);
          const std::string what = "offset at " + std::to_string(slot + 4) + " = " +
                                   std::to_string(value) + (in_structure ? " CON" : " STA");
          ExpectSameEnd(in_structure ? WithStructure(changed) + FullStatistics(revision)
                                     : WithStatistics(changed),
                        what);
        }
      }
    }
  });
}

class LongBytesTest : public BrokenInputTest {};

TEST_P(LongBytesTest, AnyByteOfAnyRecordMayBeWrong) {
  WithLittleMemory([this] {
    const Bytes whole = FullLog(GetParam());
    for (size_t at = spell::HeaderSize(GetParam()); at < whole.size(); ++at) {
      for (const uint32_t value : {0x00U, 0x7FU, 0xFFU}) {
        Bytes changed = whole;
        SetU8(changed, at, value);
        if (changed == whole) continue;
        ExpectDefinedEnd(changed, "byte " + std::to_string(at) + " = " + std::to_string(value));
      }
    }
  });
}

// A wrong header may be refused with another message, and may make any record broken.
TEST_P(LongBytesTest, AnyByteOfTheHeaderMayBeWrong) {
  const Bytes whole = FullLog(GetParam());
  for (size_t at = 0; at < spell::HeaderSize(GetParam()); ++at) {
    for (const uint32_t value : {0x00U, 0x10U, 0x1FU, 0x44U, 0xFFU}) {
      Bytes changed = whole;
      SetU8(changed, at, value);
      const EngineOutcome outcome = Manual(changed);
      if (outcome.status == kReturned) {
        // New revisions carry the header's length as it stands.
        SetU32(archive_, 8, static_cast<uint32_t>(spell::HeaderSize(GetParam())));
        EXPECT_NO_THROW(Records(archive_)) << at << ' ' << value;
        continue;
      }
      EXPECT_EQ(outcome.status, 1) << at << ' ' << value;
      EXPECT_EQ(outcome.err.rfind("Qelprfarc: 1", 0), 0U) << at << ' ' << value << outcome.err;
      EXPECT_FALSE(exists_) << at << ' ' << value;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(LongRevisions, LongBytesTest, ::testing::ValuesIn(kAllRevisions),
                         RevisionParam<uint8_t>);

// ---- structure records ----

TEST_P(BrokenInputTest, ListThatLeavesItsRecordIsBroken) {
  const Bytes whole = spell::Structure(GetParam(), {.all_kinds = true, .slot_104 = 2});
  for (const size_t slot : Slots(GetParam())) {
    const uint32_t count = GetU16(whole, slot + 2);
    if (count == 0) continue;
    const uint32_t entry = GetU16(whole, slot);
    Bytes changed = whole;
    SetU32(changed, slot + 4, static_cast<uint32_t>(whole.size()) - count * entry + 1);
    EXPECT_TRUE(IsBroken(WithStructure(changed))) << slot;
    SetU32(changed, slot + 4, 0xFFFFFFFF);
    EXPECT_TRUE(IsBroken(WithStructure(changed))) << slot;
  }
}

TEST_P(BrokenInputTest, ListWithEntriesAndNoOffsetIsBroken) {
  const Bytes whole = spell::Structure(GetParam(), {.all_kinds = true, .slot_104 = 2});
  for (const size_t slot : Slots(GetParam())) {
    if (slot == 16 || GetU16(whole, slot + 2) == 0) continue;
    Bytes changed = whole;
    SetU32(changed, slot + 4, 0);
    EXPECT_TRUE(IsBroken(WithStructure(changed))) << slot;
    SetU16(changed, slot + 2, 0);
    EXPECT_TRUE(IsFine(WithStructure(changed))) << slot;
  }
}

TEST_P(BrokenInputTest, VariableEntryOfAnImpossibleLengthIsBroken) {
  std::vector<spell::ListPlace> lists = spell::RanksAndPools(GetParam());
  lists.push_back(spell::LogicalDiskList(GetParam()));
  const Bytes whole = FullStructure(GetParam());
  for (const spell::ListPlace& list : lists) {
    if (list.total_length_at < 0) continue;
    const size_t start = GetU32(whole, list.slot + 4);
    const size_t at = start + static_cast<size_t>(list.total_length_at);
    const auto room = static_cast<uint32_t>(whole.size() - start);
    for (const uint32_t length :
         {0U, static_cast<uint32_t>(list.entry) - 1, room + 1, 0xFFFFFFFFU}) {
      Bytes changed = whole;
      SetU32(changed, at, length);
      EXPECT_TRUE(IsBroken(WithStructure(changed))) << list.slot << ' ' << length;
    }
    for (const uint32_t length : {static_cast<uint32_t>(list.entry), room}) {
      Bytes changed = whole;
      SetU32(changed, at, length);
      EXPECT_TRUE(IsFine(WithStructure(changed))) << list.slot << ' ' << length;
    }
  }
}

TEST_P(BrokenInputTest, TrailingSectionBehindTheRecordIsBroken) {
  if (GetParam() < 0x15) return;
  const size_t at = GetParam() < 0x19 ? 104 : 248;
  Bytes changed = FullStructure(GetParam());
  const auto size = static_cast<uint32_t>(changed.size());
  for (const uint32_t offset : {size + 1, 0xFFFFFFFFU}) {
    SetU32(changed, at, offset);
    EXPECT_TRUE(IsBroken(WithStructure(changed))) << offset;
  }
  SetU32(changed, at, size);
  EXPECT_TRUE(IsFine(WithStructure(changed)));
  // No offset: no trailing section, and 0 is written.
  SetU32(changed, at, 0);
  ASSERT_TRUE(IsFine(WithStructure(changed)));
  EXPECT_EQ(GetU32(Records(archive_).at(1).bytes, at), 0U);
}

TEST_P(BrokenInputTest, ListThatIsNotCarriedIsNotLookedAt) {
  if (GetParam() < 0x19) return;
  Bytes changed = FullStructure(GetParam());
  SetU16(changed, 120 + 2, 5);  // pools, while byte 95 says ranks
  SetU32(changed, 120 + 4, 0xFFFFFFF0);
  EXPECT_TRUE(IsFine(WithStructure(changed)));
}

TEST_P(BrokenInputTest, PoolEntriesTooSmallForTheirKeyAreBroken) {
  if (GetParam() < 0x1C) return;
  spell::Sections record("CON", 0, kNewYear, 256);
  Bytes basic(112, '\0');
  SetU8(basic, 95, 1);
  record.Add(16, 112, 1, basic);
  record.Add(120, 1, 1, Bytes(64, 'p'));
  Bytes structure = record.Finish();
  EXPECT_TRUE(IsBroken(WithStructure(structure)));
  SetU16(structure, 120, 0);
  EXPECT_TRUE(IsBroken(WithStructure(structure)));
  SetU16(structure, 120, 2);
  EXPECT_TRUE(IsFine(WithStructure(structure)));
}

// ---- statistics records ----

TEST_P(BrokenInputTest, SectionThatLeavesItsRecordIsBroken) {
  // Zeros at the end, so that no entry there is compact.
  Bytes whole = FullStatistics(GetParam()) + Bytes(200, '\0');
  SetU32(whole, 8, static_cast<uint32_t>(whole.size()));
  for (const spell::SectionPlace& place : spell::AllSections(GetParam())) {
    for (const auto offset : {static_cast<uint32_t>(whole.size() - place.entry + 1),
                              static_cast<uint32_t>(whole.size()), 0xFFFFFFFFU}) {
      Bytes changed = whole;
      SetU32(changed, place.slot + 4, offset);
      EXPECT_TRUE(IsBroken(WithStatistics(changed))) << place.slot << ' ' << offset;
    }
    Bytes changed = whole;
    SetU32(changed, place.slot + 4, 0);  // carries no entries
    EXPECT_TRUE(IsFine(WithStatistics(changed))) << place.slot;
  }
}

TEST_P(BrokenInputTest, SectionCountsMustBeTheConfigured) {
  const Bytes whole = FullStatistics(GetParam());
  const size_t disk_ports = GetParam() < 0x14 ? 32 : GetParam() < 0x19 ? 40 : 64;
  for (const spell::SectionPlace& place : spell::AllSections(GetParam())) {
    if (GetParam() >= 0x19 && place.slot == 128) continue;  // built from the record itself
    for (const uint32_t count : {0U, 2U, 0xFFFFU}) {
      Bytes changed = whole;
      SetU16(changed, place.slot + 2, count);
      // A differing disk-port section is passed over without a word.
      EXPECT_EQ(IsFine(WithStatistics(changed)), place.slot == disk_ports) << place.slot;
      EXPECT_EQ(IsBroken(WithStatistics(changed)), place.slot != disk_ports) << place.slot;
    }
  }
}

TEST_P(BrokenInputTest, CountOfThePoolsThatAreNotCarriedIsComparedToo) {
  if (GetParam() < 0x19) return;
  Bytes changed = FullStatistics(GetParam());
  SetU16(changed, 120 + 2, 1);
  EXPECT_TRUE(IsBroken(WithStatistics(changed)));
}

// ---- optional items ----

class BrokenItemTest : public BrokenInputTest {
 protected:
  // The record with a byte string of the first item replaced.
  Bytes WithItem(size_t at, const Bytes& value) {
    Bytes changed = FullStatistics(GetParam());
    changed.replace(GetU32(changed, 20) + at, value.size(), value);
    return WithStatistics(changed);
  }
  static Bytes Word(uint32_t v) {
    Bytes b;
    spell::U32(b, v);
    return b;
  }
  static Bytes Half(uint32_t v) {
    Bytes b;
    spell::U16(b, v);
    return b;
  }
};

constexpr uint8_t kWithItems[] = {0x18, 0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0x20, 0x21};
INSTANTIATE_TEST_SUITE_P(Revisions, BrokenItemTest, ::testing::ValuesIn(kWithItems),
                         RevisionParam<uint8_t>);

TEST_P(BrokenItemTest, ItemShorterThanItsHeadOrLongerThanItsRecordIsBroken) {
  for (const uint32_t length : {0U, 1U, 23U, 100000U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    EXPECT_TRUE(IsBroken(WithItem(8, Word(length)))) << length;
  }
}

TEST_P(BrokenItemTest, ItemsBehindTheRecordAreBroken) {
  const Bytes whole = FullStatistics(GetParam());
  const auto size = static_cast<uint32_t>(whole.size());
  Bytes changed = whole;
  SetU16(changed, 18, GetU16(whole, 18) + 1);
  EXPECT_TRUE(IsBroken(WithStatistics(changed)));
  for (const uint32_t offset : {size, size - 23, 0xFFFFFFFFU}) {
    changed = whole;
    SetU32(changed, 20, offset);
    EXPECT_TRUE(IsBroken(WithStatistics(changed))) << offset;
  }
  changed = whole;
  SetU32(changed, 20, 0);
  EXPECT_TRUE(IsFine(WithStatistics(changed)));
}

TEST_P(BrokenItemTest, ElementsOutsideTheirItemAreBroken) {
  for (const uint32_t first : {0U, 1U, 23U, 25U, 40U, 0x80000000U, 0xFFFFFFFFU}) {
    EXPECT_TRUE(IsBroken(WithItem(20, Word(first)))) << first;
  }
  EXPECT_TRUE(IsBroken(WithItem(18, Half(2))));
  EXPECT_TRUE(IsBroken(WithItem(18, Half(0xFFFF))));
  // Without elements the place of the first one does not matter.
  EXPECT_TRUE(IsFine(WithItem(18, Half(0) + Word(0xFFFFFFFF))));
}

TEST_P(BrokenItemTest, MoreElementsThanConfiguredAreBroken) {
  Bytes element(16, '\0');
  spell::Sections record("STA", 0, kNewYear, HeadSize(GetParam()));
  Bytes item = spell::OptionalItem(16, 1000, Bytes(32, '\1'));
  SetU16(item, 18, 2);
  record.Add(16, 0, 1, item);
  Bytes basic(112, '\0');
  SetU16(basic, 98, 0x8001);
  spell::Sections structure("CON", 0, kNewYear, HeadSize(GetParam()));
  structure.Add(16, 112, 1, basic);
  EXPECT_TRUE(IsBroken(WithStructure(structure.Finish()) + record.Finish()));
  SetU16(basic, 98, 0x8002);
  spell::Sections larger("CON", 0, kNewYear, HeadSize(GetParam()));
  larger.Add(16, 112, 1, basic);
  EXPECT_TRUE(IsFine(WithStructure(larger.Finish()) + record.Finish()));
}

TEST_P(BrokenItemTest, ItemOfAKindThatIsNotConfiguredIsBroken) {
  Bytes structure = FullStructure(GetParam());
  const size_t basic = GetU32(structure, 20);
  for (const size_t at : {98, 100, 102, 104}) SetU16(structure, basic + at, 0);
  EXPECT_TRUE(IsBroken(WithStructure(structure) + FullStatistics(GetParam())));
}

TEST_P(BrokenItemTest, ItemOfAnUnknownTypeIsPassedOver) {
  EXPECT_TRUE(IsFine(WithItem(12, Bytes(1, '\x77'))));
  EXPECT_TRUE(IsFine(WithItem(12, Bytes(1, '\0'))));
}

// ---- copies whose sizes are told by huge counts ----

TEST_P(BrokenInputTest, CountsThatTheFileDoesNotHoldTakeNoMemory) {
  WithLittleMemory([this] {
    Bytes structure = FullStructure(GetParam());
    const size_t basic = GetU32(structure, 20);
    for (const size_t at : {98, 100, 102, 104}) SetU16(structure, basic + at, 0xFFFF);
    for (const size_t slot : Slots(GetParam())) {
      if (slot != 16) SetU16(structure, slot + 2, 0xFFFF);
    }
    EXPECT_TRUE(IsBroken(WithStructure(structure)));
  });
}

}  // namespace
