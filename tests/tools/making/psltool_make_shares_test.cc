// `psltool make --idle-share`, `--not-valid-share` and `--extended changing`: the entries of made
// logs, walked by hand-written tables of the format. At any time the asked share is idle or not
// valid, and which resources that are changes; files take turns in their extended words.
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/made_records.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_param.h"
#include "tests/support/tempdir.h"

namespace {

using revtest::EntryFacts;
using revtest::KindFacts;
using spell::Bytes;
using spell::GetU16;
using spell::GetU32;
using spell::GetU8;

constexpr size_t kResources = 20;  // of each kind

using Positions = std::set<size_t>;

// What a section of one record holds.
struct Section {
  std::vector<Bytes> keys;
  Positions idle;
  Positions not_valid;
  size_t end = 0;
};

// Walks the entries of a kind; `words` stand behind each that is not compact.
Section Walk(const Bytes& record, const KindFacts& kind, int revision, size_t words) {
  const EntryFacts facts = revtest::EntryOf(kind.kind, revision);
  const auto header = static_cast<size_t>(kind.slot);
  Section section;
  size_t at = GetU32(record, header + 4);
  EXPECT_EQ(GetU16(record, header + 2), kResources);
  if (at == 0) return section;  // of ranks and pools one is not carried
  for (size_t i = 0; i < kResources; ++i) {
    Bytes key;
    for (const int byte : facts.keys) key.push_back(record.at(at + static_cast<size_t>(byte)));
    section.keys.push_back(key);
    if (GetU8(record, at + static_cast<size_t>(facts.not_valid)) != 0) section.not_valid.insert(i);
    const bool compact =
        kind.head != 0 && GetU8(record, at + static_cast<size_t>(facts.compact)) != 0;
    bool still = true;
    for (int group = 0; group < facts.quads && !compact; ++group) {
      still = still && GetU32(record, at + static_cast<size_t>(facts.quads_at + 16 * group)) == 0;
    }
    if (compact || (kind.head == 0 && still)) section.idle.insert(i);
    at += compact ? static_cast<size_t>(kind.head) : static_cast<size_t>(kind.entry) + 4 * words;
  }
  section.end = at;
  return section;
}

class PsltoolMakeShares : public testing::TestWithParam<int> {
 protected:
  // Makes a day of 20 resources of each kind every `interval` seconds; the statistics records.
  std::vector<Bytes> MakeDay(std::vector<std::string> options, int interval) {
    for (const KindFacts& kind : kinds) {
      std::string name = "--" + revtest::NameOf(kind.kind);
      std::transform(name.begin(), name.end(), name.begin(),
                     [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      options.insert(options.begin(), {name, std::to_string(kResources)});
    }
    options.insert(options.begin(), {"make", "--none", "--revision", std::to_string(GetParam())});
    options.insert(options.end(), {"--utc", "--profile", "flat", "--interval",
                                   std::to_string(interval), "-o", dir.Path("logs")});
    const ProgramResult made = RunProgram(PSLTOOL_PATH, options);
    EXPECT_EQ(made.status, 0) << made.err;
    std::vector<Bytes> statistics;
    for (const Bytes& record : Records(dir.Read("logs/20240304array01.psl"))) {
      if (record.substr(0, 3) == "STA") statistics.push_back(record);
    }
    return statistics;
  }

  // Calls `look` with the sections of each kind that can show what it is asked for.
  template <class Look>
  void EachKind(const std::vector<Bytes>& day, bool words, Look look) {
    for (const KindFacts& kind : kinds) {
      if (kind.kind == kCache || revtest::EntryOf(kind.kind, GetParam()).quads == 0) continue;
      SCOPED_TRACE(revtest::NameOf(kind.kind));
      const auto count = words ? static_cast<size_t>(std::popcount(kind.mask)) : 0;
      std::vector<Section> sections;
      for (const Bytes& record : day) sections.push_back(Walk(record, kind, GetParam(), count));
      if (!sections.empty() && sections[0].end != 0) look(sections);
    }
  }

  // Always `share` of the resources, each of them at some time, and for less than the whole day.
  static void ComeAndGo(const std::vector<Section>& sections, Positions Section::*what,
                        size_t share) {
    std::map<size_t, size_t> times;
    for (const Section& section : sections) {
      EXPECT_EQ((section.*what).size(), share);
      EXPECT_EQ(section.keys, sections[0].keys);
      for (const size_t i : section.*what) ++times[i];
    }
    EXPECT_EQ(times.size(), kResources);
    for (const auto& [i, count] : times) EXPECT_LT(count, sections.size()) << i;
  }

  TempDir dir;
  std::vector<KindFacts> kinds = revtest::KindsOf(GetParam());
};

TEST_P(PsltoolMakeShares, AShareOfTheResourcesIsIdleAtAnyTime) {
  const std::vector<Bytes> day = MakeDay({"--idle-share", "35", "--extended", "full"}, 3600);
  ASSERT_EQ(day.size(), 24U);
  int looked = 0;
  EachKind(day, true, [&](const std::vector<Section>& sections) {
    ++looked;
    ComeAndGo(sections, &Section::idle, 7);
    for (const Section& section : sections) EXPECT_TRUE(section.not_valid.empty());
  });
  EXPECT_GE(looked, 4);
}

TEST_P(PsltoolMakeShares, AShareOfTheResourcesIsNotValidAtAnyTime) {
  const std::vector<Bytes> day = MakeDay({"--not-valid-share", "10"}, 900);
  ASSERT_EQ(day.size(), 96U);
  EachKind(day, false, [&](const std::vector<Section>& sections) {
    ComeAndGo(sections, &Section::not_valid, 2);
    // Not valid entries are whole, and hold nothing.
    for (const Section& section : sections) {
      EXPECT_TRUE(section.idle.empty() || section.idle == section.not_valid);
    }
  });
}

TEST_P(PsltoolMakeShares, BothSharesGoTheirOwnWays) {
  const std::vector<Bytes> day =
      MakeDay({"--idle-share", "50", "--not-valid-share", "10", "--extended", "partial"}, 3600);
  for (const KindFacts& kind : kinds) {
    if (kind.kind != kLd) continue;
    const auto words = static_cast<size_t>(std::popcount(kind.mask & 0xAAAAAAAA));
    bool apart = false;
    bool together = false;
    for (const Bytes& record : day) {
      const Section section = Walk(record, kind, GetParam(), words);
      EXPECT_EQ(section.not_valid.size(), 2U);
      // One that would rest and is not valid stands there as not valid.
      EXPECT_GE(section.idle.size(), 8U);
      EXPECT_LE(section.idle.size(), 10U);
      together = together || section.idle.size() == 10;
      apart = apart || section.idle.size() < 10;
    }
    EXPECT_TRUE(apart && together);
  }
}

TEST_P(PsltoolMakeShares, EverythingAndNothing) {
  const std::vector<Bytes> day = MakeDay({"--idle-share", "100"}, 21600);
  EachKind(day, false, [&](const std::vector<Section>& sections) {
    for (const Section& section : sections) EXPECT_EQ(section.idle.size(), kResources);
  });
}

INSTANTIATE_TEST_SUITE_P(AllRevisions, PsltoolMakeShares, EachRevision(), RevisionParam<int>);

TEST(PsltoolMake, IdleDisksWaitForNothing) {
  TempDir dir;
  const ProgramResult made = RunProgram(
      PSLTOOL_PATH, {"make", "--none", "--ld", "10", "--wait-times", "--idle-share", "40",
                     "--profile", "flat", "--interval", "21600", "-o", dir.Path("logs")});
  ASSERT_EQ(made.status, 0) << made.err;
  const std::vector<Bytes> records = Records(dir.Read("logs/20240304array01.psl"));
  ASSERT_EQ(records.size(), 6U);
  for (size_t i = 2; i < 6; ++i) {
    // 144: the items; one of wait times, its elements of 32 bytes behind a head of 48 in the order
    // of the disks, whose key stands in the first two bytes and whose count at 16.
    const Bytes& record = records[i];
    size_t at = GetU32(record, 88 + 4);
    Positions idle;
    for (size_t disk = 0; disk < 10; ++disk) {
      const bool compact = GetU8(record, at + 10) != 0;
      if (compact) idle.insert(disk);
      at += compact ? 16 : 96;
    }
    EXPECT_EQ(idle.size(), 4U);
    const size_t first = record.size() - size_t{10} * 32;
    Positions still;
    for (size_t disk = 0; disk < 10; ++disk) {
      ASSERT_EQ(GetU16(record, first + disk * 32), disk);
      if (GetU32(record, first + disk * 32 + 16) == 0) still.insert(disk);
    }
    EXPECT_EQ(still, idle);
  }
}

TEST(PsltoolMake, FilesTakeTurnsInTheirWords) {
  TempDir dir;
  const ProgramResult made =
      RunProgram(PSLTOOL_PATH, {"make", "--none", "--ld", "3", "--extended", "changing",
                                "--files-per-day", "2", "--days", "2", "--profile", "flat",
                                "--interval", "21600", "-o", dir.Path("logs")});
  ASSERT_EQ(made.status, 0) << made.err;
  const std::vector<std::string> names = dir.Names("logs");
  ASSERT_EQ(names.size(), 4U);
  // 64: Ld. All words, the maxima, none, and from the beginning.
  const std::vector<uint32_t> bitmaps = {0xFFFFFC00, 0xAAAAA800, 0, 0xFFFFFC00};
  for (size_t i = 0; i < names.size(); ++i) {
    const Bytes log = dir.Read("logs/" + names[i]);
    EXPECT_EQ(GetU32(log, 64), bitmaps[i]) << names[i];
    const auto words = static_cast<size_t>(std::popcount(bitmaps[i]));
    for (const Bytes& record : Records(log)) {
      if (record.substr(0, 3) != "STA") continue;
      EXPECT_EQ(record.size(), 256 + 3 * (96 + 4 * words));
    }
  }
}

}  // namespace
