// Entries are told by their keys where they begin, never by what stands within others.
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

class LookalikeEntries : public ::testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Revisions, LookalikeEntries, ::testing::ValuesIn(AllRevisions()),
                         [](const ::testing::TestParamInfo<int>& test) {
                           return "Rev" + RevisionName(test.param);
                         });

// Disk ports with extended words, the last one not valid: their figures are such that at the
// distance of entries without words those of all ports seem to follow each other.
TEST_P(LookalikeEntries, WithoutTheirExtendedWords) {
  constexpr size_t kPorts = 8;
  constexpr size_t kPlain = 48;
  constexpr uint32_t kMask = 0xFFC00000;
  constexpr size_t kWords = 10;
  constexpr size_t kFull = kPlain + 4 * kWords;
  const std::vector<KindFacts> kinds = KindsOf(GetParam());
  size_t written_size = kPlain;
  for (uint32_t mask = FindKind(kinds, kDp)->mask; mask != 0; mask <<= 1) written_size += 4;

  StructureBuilder structure(GetParam());
  Bytes section(0);
  for (uint8_t port = 1; port <= kPorts; ++port) {
    structure.Add(kDp, {{port, port}});
    Bytes entry = PlainEntry(GetParam(), kDp, port, 1000).Add(Bytes(4 * kWords));
    for (size_t at = 16; at < kFull; at += 4) entry.U32(at, 1000U * port + at);
    section.Add(entry);
  }
  section.U8(kFull * (kPorts - 1) + 11, 1);
  for (uint8_t port = 2; port <= kPorts; ++port) {
    section.U32(kPlain * (port - 1U) + 8, uint32_t{port} << 24 | uint32_t{port} << 16);
  }

  RevisionRun run(GetParam());
  run.InputMask(kDp, kMask);
  run.Feed(structure.Build());
  StatisticsBuilder record(GetParam());
  for (size_t i = 0; i < kPorts; ++i) record.Add(kDp, section.Part(i * kFull, kFull));
  run.Feed(record.Build());
  const Bytes period = run.Period();
  const Bytes written = SectionOf(period, GetParam(), kDp, kPorts * written_size);
  for (size_t i = 0; i < kPorts; ++i) {
    SCOPED_TRACE(i);
    const bool valid = i + 1 < kPorts;
    EXPECT_EQ(written.Get32(i * written_size + 4), valid ? 1000U : 0U);
    EXPECT_EQ(written.Get32(i * written_size + 16), valid ? section.Get32(i * kFull + 16) : 0U);
    EXPECT_EQ(written.Get32(i * written_size + kPlain),
              valid ? section.Get32(i * kFull + kPlain) : 0U);
  }
}

// Disk ports, an entry of a second for each key.
StatisticsBuilder Ports(int revision, const std::vector<uint8_t>& keys) {
  StatisticsBuilder record(revision);
  for (const uint8_t key : keys) record.Add(kDp, PlainEntry(revision, kDp, key, 1000));
  return record;
}

// How long each of them has been seen in the period.
std::vector<uint32_t> TimesOfPorts(RevisionRun& run, int revision, size_t ports) {
  const std::vector<KindFacts> kinds = KindsOf(revision);
  size_t size = 48;
  for (uint32_t mask = FindKind(kinds, kDp)->mask; mask != 0; mask <<= 1) size += 4;
  const Bytes written = SectionOf(run.Period(), revision, kDp, ports * size);
  std::vector<uint32_t> times;
  for (size_t i = 0; i < ports; ++i) times.push_back(written.Get32(i * size + 4));
  return times;
}

// One port has two entries, so that the last has none: behind the section something looks like it.
TEST_P(LookalikeEntries, BehindTheirSection) {
  StructureBuilder structure(GetParam());
  for (uint8_t key = 1; key <= 10; ++key) structure.Add(kDp, {{key, key}});
  RevisionRun run(GetParam());
  run.Feed(structure.Build());
  Bytes record = Ports(GetParam(), {1, 2, 3, 4, 5, 6, 7, 8, 8, 9}).Build();
  record.Add(PlainEntry(GetParam(), kDp, 10, 1000));
  run.Feed(record.U32(8, record.size()));
  EXPECT_EQ(TimesOfPorts(run, GetParam(), 10),
            (std::vector<uint32_t>{1000, 1000, 1000, 1000, 1000, 1000, 1000, 2000, 1000, 0}));
}

// They come as in the table, but it has one of the keys twice: the first port has both.
TEST_P(LookalikeEntries, OfOneKey) {
  RevisionRun run(GetParam());
  run.Feed(StructureBuilder(GetParam()).Add(kDp, {{1, 1}, {2, 2}, {1, 1}, {3, 3}}).Build());
  run.Feed(Ports(GetParam(), {1, 2, 1, 3}).Build());
  EXPECT_EQ(TimesOfPorts(run, GetParam(), 4), (std::vector<uint32_t>{2000, 1000, 0, 1000}));
}

}  // namespace
}  // namespace revtest
