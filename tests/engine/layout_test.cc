// The layout tables of engine/layout/layout.h against tables written by hand (tests/support/
// revision_facts.cc), for every revision byte 0x10 to 0x21.
#include "engine/layout/layout.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "revisions/named/converters.h"
#include "tests/support/entry_bytes.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_param.h"

namespace revtest {
namespace {

class Layout : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();
  const RevisionLayout& layout = LayoutOf(static_cast<uint8_t>(GetParam()));

  const SectionRow* Section(Kind kind) const { return FindRow(layout.Sections(), kind); }
  const ListRow* ListAt(int slot) const {
    for (const ListRow& list : layout.Lists()) {
      if (list.header_at == slot) return &list;
    }
    return nullptr;
  }
};

INSTANTIATE_TEST_SUITE_P(Revisions, Layout, ::testing::ValuesIn(AllRevisions()),
                         [](const auto& test) { return RevisionName(test.param); });

TEST_P(Layout, IsThatOfItsRevision) { EXPECT_EQ(layout.revision, revision); }

TEST_P(Layout, BitmapsStandWhereTheHeaderHasThem) {
  std::map<int, std::pair<int, uint32_t>> expected;  // offset: kind, full mask
  for (const KindFacts& facts : KindsOf(revision)) {
    if (facts.mask_at != 0) expected[facts.mask_at] = {facts.kind, facts.mask};
  }
  if (revision >= 0x19) expected[56] = {kReservedItems, 0};
  std::map<int, std::pair<int, uint32_t>> actual;
  for (const BitmapRow& bitmap : layout.Bitmaps()) {
    actual[bitmap.at] = {bitmap.kind, bitmap.full};
  }
  EXPECT_EQ(actual, expected);
  EXPECT_EQ(layout.bitmap_count, expected.size());
}

TEST_P(Layout, SectionsFollowTheOrderOfTheRevision) {
  std::vector<std::string> expected;
  std::vector<std::string> actual;
  for (const KindFacts& facts : KindsOf(revision)) expected.push_back(NameOf(facts.kind));
  for (const SectionRow& section : layout.Sections()) {
    actual.push_back(NameOf(section.kind));
  }
  EXPECT_EQ(actual, expected);
}

TEST_P(Layout, SectionHeadersAndEntrySizes) {
  for (const KindFacts& facts : KindsOf(revision)) {
    SCOPED_TRACE(NameOf(facts.kind));
    const SectionRow* row = Section(facts.kind);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->header_at, facts.slot);
    EXPECT_EQ(kForms[row->form].size, facts.entry);
    if (facts.head != 0) {
      EXPECT_EQ(kForms[row->form].head, facts.head);
    }
  }
}

TEST_P(Layout, ListsFollowTheOrderOfTheFile) {
  const std::vector<ListFacts> expected = ListsOf(revision);
  ASSERT_EQ(layout.list_count, expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    SCOPED_TRACE(expected[i].slot);
    const ListRow& row = layout.lists[i];
    EXPECT_EQ(row.header_at, expected[i].slot);
    EXPECT_EQ(row.entry, expected[i].entry == kFromDescriptor ? 0 : expected[i].entry);
    EXPECT_EQ(row.total_length_at, expected[i].length_at);
    EXPECT_EQ(row.written, expected[i].output == ListFacts::kWritten);
    EXPECT_EQ(row.fixed_descriptor, expected[i].output == ListFacts::kFixed);
  }
}

TEST_P(Layout, ListsOfKindsCarryTheirKeys) {
  for (const KindFacts& facts : KindsOf(revision)) {
    if (facts.list == 0) continue;
    SCOPED_TRACE(NameOf(facts.kind));
    const ListRow* row = ListAt(facts.slot);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->kind, facts.kind);
    EXPECT_EQ(row->key_at, facts.kind == kRank ? 4 : 0);
    Lookup lookup = Lookup::kScan;
    if (facts.kind == kPd || (facts.kind == kLd && revision >= 0x15)) lookup = Lookup::kCursor;
    if (revision >= 0x1D && (facts.kind == kHp || facts.kind == kRp || facts.kind == kMp)) {
      lookup = Lookup::kPosition;
    }
    EXPECT_EQ(row->lookup, lookup);
  }
}

TEST_P(Layout, EntryFields) {
  for (const KindFacts& facts : KindsOf(revision)) {
    if (facts.kind == kCache) continue;
    SCOPED_TRACE(NameOf(facts.kind));
    const EntryFacts entry = EntryOf(facts.kind, revision);
    const Form& form = kForms[Section(facts.kind)->form];
    for (size_t i = 0; i < entry.keys.size(); ++i) EXPECT_EQ(form.key.at[i], entry.keys[i]);
    EXPECT_EQ(form.key.count, facts.kind == kCheseg ? 2U : entry.keys.size());
    EXPECT_EQ(form.compact, entry.compact);
    EXPECT_EQ(form.not_valid, entry.not_valid);
    EXPECT_EQ(form.ratio, entry.ratio);
    EXPECT_EQ(form.ratio_flag.at, entry.flag_at);
    EXPECT_EQ(form.ratio_flag.bit, entry.flag);
    EXPECT_EQ(form.quadsets, entry.quads);
    if (entry.quads > 0) {
      EXPECT_EQ(form.quadsets_at, entry.quads_at);
    }
    EXPECT_EQ(form.tracked, entry.tracked);
    EXPECT_EQ(form.idles, entry.idles);
    EXPECT_EQ(form.carried[0], entry.carried[0]);
    EXPECT_EQ(form.carried[1], entry.carried[1]);
  }
}

TEST_P(Layout, HeadSizesAndRules) {
  EXPECT_EQ(layout.row.file_header, revision >= 0x19 ? 256 : 80);
  EXPECT_EQ(layout.row.record_head, RecordHeadOf(revision));
  EXPECT_EQ(layout.row.trailing_at, TrailingAt(revision));
  EXPECT_EQ(layout.row.rule, OlderRule(revision) ? QuadRule::kOlder : QuadRule::kCurrent);
  EXPECT_EQ(layout.row.keeps_header, revision >= 0x1D);
  EXPECT_EQ(layout.row.carries_pair, revision >= 0x1D);
  EXPECT_EQ(layout.row.skips_tails, revision >= 0x1B);
  EXPECT_EQ(layout.row.marks_pairs_on_ldm, revision >= 0x1C);
  EXPECT_EQ(layout.row.second_cheseg_key, revision >= 0x1A);
  EXPECT_EQ(layout.row.pair_flag_by_count, revision >= 0x1C);
  EXPECT_EQ(layout.has_items, revision >= 0x14);
}

TEST_P(Layout, RankOrPoolByTheBasicInformationFrom0x19On) {
  const SectionRow* rank = Section(kRank);
  const SectionRow* pool = Section(kPool);
  if (rank != nullptr) {
    EXPECT_EQ(rank->included, revision >= 0x19 ? Included::kWhenRanks : Included::kAlways);
    EXPECT_EQ(ListAt(rank->header_at)->included, rank->included);
  }
  if (pool != nullptr) {
    EXPECT_EQ(pool->included, revision >= 0x19 ? Included::kWhenPools : Included::kAlways);
    EXPECT_EQ(ListAt(pool->header_at)->included, pool->included);
  }
}

TEST_P(Layout, OptionalItemsOfTheRevision) {
  const auto has = [this](int type) {
    for (const ItemRow& row : kItemRows) {
      if (row.type == type && row.span.Holds(static_cast<uint8_t>(revision))) return true;
    }
    return false;
  };
  EXPECT_EQ(has(16), revision >= 0x18);  // Conc
  EXPECT_EQ(has(32), revision >= 0x1B);  // LD_CP
  EXPECT_EQ(has(48), revision >= 0x1B);  // POOL_CP
  EXPECT_EQ(has(33), revision >= 0x1C);  // wait time
  EXPECT_EQ(has(64), revision >= 0x1D);  // Cab
}

TEST(LayoutItems, OrderElementsAndCountsOfTheBasicInformation) {
  // kind, type, element, offset of its count
  const std::vector<std::array<int, 4>> expected = {{kConc, 16, 16, 98},
                                                    {kLdCp, 32, 32, 100},
                                                    {kPoolCp, 48, 48, 102},
                                                    {kWaittm, 33, 32, 0},
                                                    {kCab, 64, 16, 104}};
  std::vector<std::array<int, 4>> actual;
  for (const ItemRow& row : kItemRows) {
    actual.push_back({row.kind, row.type, row.element, row.basic_at});
  }
  EXPECT_EQ(actual, expected);
}

TEST(LayoutRange, OnlyRevisions0x10To0x21AreKnown) {
  for (int revision = 0; revision < 256; ++revision) {
    EXPECT_EQ(KnownRevision(static_cast<uint8_t>(revision)),
              revision >= kOldestRevision && revision <= kNewestRevision);
  }
}

TEST(LayoutForms, MarksOfDisksAndPools) {
  const Form& disk = kForms[kLdSta];
  EXPECT_EQ(disk.sticky.at, 13);
  EXPECT_EQ(disk.sticky.bit, 0x02);
  EXPECT_EQ(disk.kept.at, 13);
  EXPECT_EQ(disk.kept.bit, 0x04);
  EXPECT_EQ(disk.kept_from, 0x1F);
  EXPECT_FALSE(disk.kept_always);
  EXPECT_TRUE(disk.ratio_extremes_always);
  EXPECT_EQ(kForms[kLdSta_0x10].sticky.at, kNone);
  EXPECT_EQ(kForms[kLdSta_0x10].kept.at, kNone);
  const Form& pool = kForms[kPoolSta_0x14];
  EXPECT_EQ(pool.kept.at, 18);
  EXPECT_EQ(pool.kept.bit, 0x01);
  EXPECT_EQ(pool.kept_from, 0x1F);
  EXPECT_TRUE(pool.kept_always);
}

// --- converters ----------------------------------------------------------------------------------

// A form's fields that change their byte order: offset and width, written by hand.
struct Swapped {
  const char* name;
  FormId form;
  size_t size;
  std::vector<std::pair<int, int>> fields;
};

std::vector<std::pair<int, int>> WithQuads(std::vector<std::pair<int, int>> fields,
                                           std::vector<int> quads) {
  for (const int at : quads) {
    for (int word = 0; word < 16; word += 4) fields.emplace_back(at + word, 4);
  }
  return fields;
}

const std::vector<Swapped>& SwappedForms() {
  static const std::vector<Swapped> kAll = {
      {"HdSta_0x19", kHdSta_0x19, 32, {{0, 4}, {4, 4}, {14, 2}, {16, 4}, {20, 4}}},
      {"RdSta_0x1A", kRdSta_0x1A, 32, {{0, 4}, {4, 4}, {14, 2}, {16, 4}, {20, 4}}},
      {"DdSta_0x1A", kDdSta_0x1A, 32, {{0, 4}, {4, 4}, {14, 2}}},
      {"HpSta_0x11", kHpSta_0x11, 64, WithQuads({{0, 4}, {4, 4}}, {16, 32, 48})},
      {"HpSta_0x12", kHpSta_0x12, 112,
       WithQuads({{0, 4}, {4, 4}, {14, 2}}, {16, 32, 48, 64, 80, 96})},
      {"HpSta_0x1A", kHpSta_0x1A, 112,
       WithQuads({{0, 4}, {4, 4}, {14, 2}}, {16, 32, 48, 64, 80, 96})},
      {"HpNodeSta_0x1A", kHpNodeSta_0x1A, 112,
       WithQuads({{0, 4}, {4, 4}, {14, 2}}, {16, 32, 48, 64, 80, 96})},
      {"RpSta_0x14", kRpSta_0x14, 112,
       WithQuads({{0, 4}, {4, 4}, {14, 2}}, {16, 32, 48, 64, 80, 96})},
      {"MpSta_0x1D", kMpSta_0x1D, 48, WithQuads({{0, 4}, {4, 4}, {14, 2}}, {16, 32})},
      {"DpSta_0x10", kDpSta_0x10, 48, WithQuads({{0, 4}, {4, 4}, {14, 2}}, {16, 32})},
      {"CacheSta_0x19", kCacheSta_0x19, 32, {{0, 4}, {4, 4}, {16, 2}, {18, 2}}},
      {"CacheSta_0x1F", kCacheSta_0x1F, 96,
       WithQuads({{0, 4}, {4, 4}, {16, 2}, {18, 2}}, {32, 48, 64, 80})},
      {"CacheSta_0x21", kCacheSta_0x21, 128,
       WithQuads({{0, 4}, {4, 4}, {16, 2}, {18, 2}, {20, 2}, {22, 2}, {24, 4}, {28, 4}},
                 {32, 48, 64, 80, 96, 112})},
      {"LdSta_0x10", kLdSta_0x10, 96, WithQuads({{0, 4}, {4, 4}, {8, 2}}, {16, 32, 48, 64, 80})},
      {"LdSta", kLdSta, 96, WithQuads({{0, 4}, {4, 4}, {8, 2}, {14, 2}}, {16, 32, 48, 64, 80})},
      {"PdSta_0x10", kPdSta_0x10, 48, WithQuads({{0, 4}, {4, 4}}, {16, 32})},
      {"PdSta", kPdSta, 64, WithQuads({{0, 4}, {4, 4}, {16, 4}, {20, 2}}, {32, 48})},
      {"RankSta_0x11", kRankSta_0x11, 32, {{0, 4}, {4, 4}, {16, 4}, {20, 2}}},
      {"RankSta_0x12", kRankSta_0x12, 64, WithQuads({{0, 4}, {4, 4}, {16, 4}, {20, 2}}, {32, 48})},
      {"PoolSta_0x14", kPoolSta_0x14, 64,
       WithQuads({{0, 4}, {4, 4}, {8, 2}, {12, 4}, {16, 2}}, {32, 48})},
  };
  return kAll;
}

Bytes Reversed(const Bytes& entry, const std::vector<std::pair<int, int>>& fields) {
  Bytes swapped = entry;
  for (const auto& [at, width] : fields) {
    for (int i = 0; i < width; ++i) {
      swapped.U8(static_cast<size_t>(at + i), entry.Get8(static_cast<size_t>(at + width - 1 - i)));
    }
  }
  return swapped;
}

TEST(LayoutConverters, SwapExactlyTheFieldsOfTheForm) {
  for (const Swapped& form : SwappedForms()) {
    SCOPED_TRACE(form.name);
    const Bytes disk = Bytes(form.size).Pattern(0, form.size, 3);
    Bytes entry = disk;
    SwapEntry(kForms[form.form], entry.data());
    EXPECT_EQ(entry, Reversed(disk, form.fields));
  }
}

TEST(LayoutConverters, TwiceRestoresTheEntry) {
  for (const Swapped& form : SwappedForms()) {
    SCOPED_TRACE(form.name);
    const Bytes disk = Bytes(form.size).Pattern(0, form.size, 3);
    Bytes entry = disk;
    SwapEntry(kForms[form.form], entry.data());
    SwapEntry(kForms[form.form], entry.data());
    EXPECT_EQ(entry, disk);
  }
}

TEST(LayoutConverters, NamedOnesServeTheirForm) {
  Bytes disk = Bytes(96).Pattern(0, 96, 1).U8(11, 0);
  const auto fields = WithQuads({{0, 4}, {4, 4}, {12, 2}, {14, 2}}, {16, 32, 48, 64, 80});
  Bytes entry = disk;
  ntoh_ChesegSta_0x13(entry.data());
  EXPECT_EQ(entry, Reversed(disk, fields));
  hton_ChesegSta_0x13(entry.data());
  EXPECT_EQ(entry, disk);

  disk = Bytes(64).Pattern(0, 64, 1);
  entry = disk;
  ntoh_PdSta(entry.data());
  EXPECT_EQ(entry, Reversed(disk, WithQuads({{0, 4}, {4, 4}, {16, 4}, {20, 2}}, {32, 48})));
}

TEST(LayoutConverters, ChesegBytes12And13StayWhileBit7OfTheFlagsIsSet) {
  const Bytes disk = Bytes(96).Pattern(0, 96, 1).U8(11, 0x80);
  Bytes entry = disk;
  ntoh_ChesegSta_0x13(entry.data());
  EXPECT_EQ(entry, Reversed(disk, WithQuads({{0, 4}, {4, 4}, {14, 2}}, {16, 32, 48, 64, 80})));
}

TEST(LayoutConverters, ElementsOfOptionalItems) {
  const Bytes pair = Bytes(48).Pattern(0, 48, 5);
  Bytes element = pair;
  ntoh_LD_CPSta_0x1B(element.data());
  EXPECT_EQ(element, pair);
  ntoh_POOL_CPSta_0x1B(element.data());
  EXPECT_EQ(element, pair);
  const Bytes wait = Bytes(32).Pattern(0, 32, 5);
  element = wait;
  ntoh_WaittmSta_0x1C(element.data());
  EXPECT_EQ(element, Reversed(wait, WithQuads({{0, 2}}, {16})));
}

}  // namespace
}  // namespace revtest
