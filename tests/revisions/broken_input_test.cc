// Broken and hostile inputs: files cut short, counts and offsets that point anywhere, any byte
// wrong. Whatever an input says, a run ends in one of two ways: with a whole archive, or with
// message 112 and none.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/revisions/broken_input_fixture.h"
#include "tests/support/engine_run.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/run_state.h"

namespace {

using spell::Bytes;
using spell::GetU16;
using spell::GetU32;
using spell::Records;
using spell::SetU16;
using spell::SetU32;
using spell::SetU8;
using spell::Tags;

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

TEST_P(PrefixBrokenInputTest, CountsAndOffsetsOfAnyValueHaveADefinedEnd) {
  WithLittleMemory([this] {
    const uint8_t revision = GetParam();
    for (const bool in_structure : {true, false}) {
      const Bytes whole = in_structure ? FullStructure(revision) : FullStatistics(revision);
      for (const size_t slot : SlotsOf(revision)) {
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

}  // namespace
