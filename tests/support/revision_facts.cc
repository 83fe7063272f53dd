// Hand-written tables of the format revisions: see the header.
#include "tests/support/revision_facts.h"

#include <cstdio>
#include <span>

namespace revtest {
namespace {

// kind, slot, list entry, statistics entry, compact head, mask offset, full mask
constexpr KindFacts k10[] = {
    {kHp, 24, 4, 64, 0, 32, 0xFF000000},
    {kDp, 32, 4, 48, 0, 36, 0xFF000000},
    {kLd, 40, 48, 96, 16, 40, 0xFFFFF000},
    {kPd, 48, 48, 48, 16, 44, 0xFF000000},
};
constexpr KindFacts k11[] = {
    {kHp, 24, 4, 64, 0, 32, 0xFF000000},     {kDp, 32, 4, 48, 0, 36, 0xFF000000},
    {kLd, 40, 48, 96, 16, 40, 0xFFFFFC00},   {kPd, 48, 48, 64, 32, 44, 0xFFC00000},
    {kRank, 56, 32, 32, 32, 48, 0xC0000000},
};
constexpr KindFacts k12[] = {
    {kHp, 24, 4, 112, 0, 32, 0xFFFFF000},    {kDp, 32, 4, 48, 0, 36, 0xFF000000},
    {kLd, 40, 48, 96, 16, 40, 0xFFFFFC00},   {kPd, 48, 48, 64, 32, 44, 0xFFC00000},
    {kRank, 56, 32, 64, 32, 48, 0xFFC00000},
};
constexpr KindFacts k13[] = {
    {kHp, 24, 4, 112, 0, 32, 0xFFFFF000},      {kDp, 32, 4, 48, 0, 36, 0xFF000000},
    {kCheseg, 40, 32, 96, 16, 40, 0xFFFFF000}, {kLd, 48, 48, 96, 16, 44, 0xFFFFFC00},
    {kPd, 56, 48, 64, 32, 48, 0xFFC00000},     {kRank, 64, 32, 64, 32, 52, 0xFFC00000},
};
constexpr KindFacts k14[] = {
    {kHp, 24, 4, 112, 0, 32, 0xFFFFF000},    {kRp, 32, 4, 112, 16, 36, 0xFFFFFF00},
    {kDp, 40, 4, 48, 0, 40, 0xFF000000},     {kCheseg, 48, 32, 96, 16, 44, 0xFFFFF000},
    {kLd, 56, 48, 96, 16, 48, 0xFFFFFC00},   {kPd, 64, 48, 64, 32, 52, 0xFFC00000},
    {kRank, 72, 32, 64, 32, 56, 0xFFC00000}, {kPool, 80, 48, 64, 32, 60, 0xFFC00000},
};
constexpr KindFacts k15[] = {
    {kHp, 24, 4, 112, 0, 32, 0xFFFFF000},    {kRp, 32, 4, 112, 16, 36, 0xFFFFFF00},
    {kDp, 40, 4, 48, 0, 40, 0xFF000000},     {kCheseg, 48, 32, 96, 16, 44, 0xFFFFF000},
    {kLd, 56, 64, 96, 16, 48, 0xFFFFFC00},   {kPd, 64, 48, 64, 32, 52, 0xFFC00000},
    {kRank, 72, 32, 64, 32, 56, 0xFFC00000}, {kPool, 80, 48, 64, 32, 60, 0xFFC00000},
};
constexpr KindFacts k19[] = {
    {kHd, 24, 4, 32, 0, 32, 0xC0000000},
    {kHp, 48, 4, 112, 0, 44, 0xFFFFFC00},
    {kRp, 56, 4, 112, 16, 48, 0xFFFFFFC0},
    {kDp, 64, 4, 48, 0, 52, 0xFFC00000},
    {kCache, 72, 32, 32, 0, 0, 0},
    {kCheseg, 80, 32, 96, 16, 60, 0xFFFFF000},
    {kLd, 88, 64, 96, 16, 64, 0xFFFFFC00},
    {kPd, 96, 48, 64, 32, 68, 0xFFC00000},
    {kRank, 112, 32, 64, 32, 72, 0xFFC00000},
    {kPool, 120, 48, 64, 32, 76, 0xFFC00000},
};
constexpr KindFacts k1A[] = {
    // and 0x1B
    {kHd, 24, 4, 32, 0, 32, 0xC0000000},       {kRd, 32, 4, 32, 0, 36, 0xC0000000},
    {kDd, 40, 4, 32, 0, 40, 0xC0000000},       {kHp, 48, 4, 112, 0, 44, 0xFFFFFC00},
    {kHpNode, 128, 0, 112, 0, 80, 0xFFFFFC00}, {kRp, 56, 4, 112, 16, 48, 0xFFFFFFC0},
    {kDp, 64, 4, 48, 0, 52, 0xFFC00000},       {kCache, 72, 32, 32, 0, 0, 0},
    {kCheseg, 80, 32, 96, 16, 60, 0xFFFFF000}, {kLd, 88, 64, 96, 16, 64, 0xFFFFFC00},
    {kPd, 96, 48, 64, 32, 68, 0xFFC00000},     {kRank, 112, 32, 64, 32, 72, 0xFFC00000},
    {kPool, 120, 48, 64, 32, 76, 0xFFC00000},
};
constexpr KindFacts k1D[] = {
    // 0x1C to 0x21 by the edits of KindsOf
    {kHd, 24, 4, 32, 0, 32, 0xC0000000},
    {kRd, 32, 4, 32, 0, 36, 0xC0000000},
    {kDd, 40, 4, 32, 0, 40, 0xC0000000},
    {kHp, 48, 48, 112, 0, 44, 0xFFFFFC00},
    {kHpNode, 128, 0, 112, 0, 80, 0xFFFFFC00},
    {kRp, 56, 8, 112, 16, 48, 0xFFFFFFC0},
    {kMp, 136, 8, 48, 16, 84, 0xFFC00000},
    {kDp, 64, 4, 48, 0, 52, 0xFFC00000},
    {kCache, 72, 32, 32, 0, 0, 0},
    {kCheseg, 80, 32, 96, 16, 60, 0xFFFFF000},
    {kLd, 88, 64, 96, 16, 64, 0xFFFFFC00},
    {kPd, 96, 48, 64, 32, 68, 0xFFC00000},
    {kRank, 112, 32, 64, 32, 72, 0xFFC00000},
    {kPool, 120, kFromDescriptor, 64, 32, 76, 0xFFC00000},
};

std::vector<KindFacts> Copy(std::span<const KindFacts> rows) { return {rows.begin(), rows.end()}; }

KindFacts& Edit(std::vector<KindFacts>& rows, Kind kind) {
  size_t i = 0;
  while (rows[i].kind != kind) ++i;
  return rows[i];
}

}  // namespace

std::vector<KindFacts> KindsOf(int revision) {
  if (revision == 0x10) return Copy(k10);
  if (revision == 0x11) return Copy(k11);
  if (revision == 0x12) return Copy(k12);
  if (revision == 0x13) return Copy(k13);
  if (revision == 0x14) return Copy(k14);
  if (revision <= 0x18) return Copy(k15);
  if (revision == 0x19) return Copy(k19);
  if (revision <= 0x1C) {
    std::vector<KindFacts> rows = Copy(k1A);
    if (revision == 0x1C) Edit(rows, kPool).list = kFromDescriptor;
    return rows;
  }
  std::vector<KindFacts> rows = Copy(k1D);
  if (revision >= 0x1F) Edit(rows, kCache).entry = 96;
  if (revision >= 0x21) Edit(rows, kCache).entry = 128;
  return rows;
}

const KindFacts* FindKind(const std::vector<KindFacts>& kinds, Kind kind) {
  for (const KindFacts& facts : kinds) {
    if (facts.kind == kind) return &facts;
  }
  return nullptr;
}

std::vector<ListFacts> ListsOf(int revision) {
  constexpr auto kOut = ListFacts::kWritten;
  switch (revision) {
    case 0x10:
      return {{24, 4, -1, kOut}, {32, 4, -1, kOut}, {40, 48, -1, kOut}, {48, 48, -1, kOut}};
    case 0x11:
    case 0x12:
      return {{24, 4, -1, kOut},
              {32, 4, -1, kOut},
              {40, 48, -1, kOut},
              {48, 48, -1, kOut},
              {56, 32, 0, kOut}};
    case 0x13:
      return {{24, 4, -1, kOut},  {32, 4, -1, kOut},  {40, 32, -1, kOut},
              {48, 48, -1, kOut}, {56, 48, -1, kOut}, {64, 32, 0, kOut}};
    case 0x14:
      return {{24, 4, -1, kOut},  {32, 4, -1, kOut},  {40, 4, -1, kOut}, {48, 32, -1, kOut},
              {56, 48, -1, kOut}, {64, 48, -1, kOut}, {72, 32, 0, kOut}, {80, 48, -1, kOut}};
    case 0x15:
    case 0x16:
    case 0x17:
    case 0x18:
      return {{24, 4, -1, kOut},  {32, 4, -1, kOut},  {40, 4, -1, kOut}, {48, 32, -1, kOut},
              {56, 64, 52, kOut}, {64, 48, -1, kOut}, {72, 32, 0, kOut}, {80, 48, -1, kOut}};
    case 0x19:
      return {{24, 4, -1, kOut},  {48, 4, -1, kOut},  {56, 4, -1, kOut},
              {64, 4, -1, kOut},  {72, 32, -1, kOut}, {80, 32, -1, kOut},
              {88, 64, 52, kOut}, {96, 48, -1, kOut}, {104, 16, -1, ListFacts::kLogsOnly},
              {112, 32, 0, kOut}, {120, 48, -1, kOut}};
    case 0x1A:
    case 0x1B:
    case 0x1C:
      return {{128, 4, -1, kOut}, {24, 4, -1, kOut},
              {32, 4, -1, kOut},  {40, 4, -1, kOut},
              {48, 4, -1, kOut},  {56, 4, -1, kOut},
              {64, 4, -1, kOut},  {72, 32, -1, kOut},
              {80, 32, -1, kOut}, {88, 64, 52, kOut},
              {96, 48, -1, kOut}, {104, 16, -1, ListFacts::kLogsOnly},
              {112, 32, 0, kOut}, {120, revision == 0x1C ? kFromDescriptor : 48, -1, kOut}};
    default:
      break;
  }
  std::vector<ListFacts> lists = {{128, 4, -1, kOut},
                                  {24, 4, -1, kOut},
                                  {32, 4, -1, kOut},
                                  {40, 4, -1, kOut},
                                  {48, 48, -1, ListFacts::kFixed},
                                  {56, 8, -1, kOut},
                                  {136, 8, -1, kOut},
                                  {64, 4, -1, kOut},
                                  {72, 32, -1, kOut},
                                  {80, 32, -1, kOut},
                                  {88, 64, 52, kOut},
                                  {96, 48, -1, kOut},
                                  {104, 16, -1, ListFacts::kLogsOnly},
                                  {112, 32, 0, kOut},
                                  {120, kFromDescriptor, -1, kOut}};
  if (revision >= 0x1E) lists.push_back({144, 16, -1, kOut});
  return lists;
}

EntryFacts EntryOf(Kind kind, int revision) {
  switch (kind) {
    // keys, compact, not valid, ratio, flag, quadsets at, number, tracked, idles, carried
    case kHd:
    case kRd:
      return {{8}, -1, 9, 14, -1, 0, -1, 0, 0, false, {16, 20}};
    case kDd:
      return {{8}, -1, 9, 14, -1, 0, -1, 0, 0, false, {-1, -1}};
    case kHp:
      if (revision <= 0x11) return {{8, 9}, -1, 11, -1, -1, 0, 16, 3, 2, false, {-1, -1}};
      return {{8, 9}, -1, 11, 14, 10, 0x02, 16, 6, 5, false, {-1, -1}};
    case kHpNode:
      return {{8, 9, 13}, -1, 11, 14, 10, 0x02, 16, 6, 5, false, {-1, -1}};
    case kRp:
      return {{8, 9}, 10, 11, 14, 12, 0x01, 16, 6, 6, true, {-1, -1}};
    case kMp:
      return {{8, 9}, 10, 11, 14, -1, 0, 16, 2, 2, true, {-1, -1}};
    case kDp:
      return {{8, 9}, -1, 11, 14, -1, 0, 16, 2, 2, false, {-1, -1}};
    case kCheseg:
      return {{8}, 9, 10, 14, -1, 0, 16, 5, 5, true, {-1, -1}};
    case kLd:
      if (revision == 0x10) return {{8, 9}, 10, 11, -1, -1, 0, 16, 5, 5, true, {-1, -1}};
      return {{8, 9}, 10, 11, 14, 13, 0x01, 16, 5, 5, true, {-1, -1}};
    case kPd:
      if (revision == 0x10) return {{8, 9}, 10, 11, -1, -1, 0, 16, 2, 2, true, {-1, -1}};
      return {{8, 9}, 10, 11, 20, -1, 0, 32, 2, 2, true, {16, -1}};
    case kRank:
      if (revision == 0x11) return {{8, 9}, 10, 11, 20, -1, 0, -1, 0, 0, true, {16, -1}};
      return {{8, 9}, 10, 11, 20, -1, 0, 32, 2, 2, true, {16, -1}};
    default:  // kPool
      return {{8, 9}, 10, 11, 16, -1, 0, 32, 2, 2, false, {12, -1}};
  }
}

int RecordHeadOf(int revision) {
  if (revision <= 0x12) return 80;
  if (revision == 0x13) return 96;
  return revision <= 0x18 ? 112 : 256;
}

int TrailingAt(int revision) {
  if (revision <= 0x14) return 0;
  return revision <= 0x18 ? 104 : 248;
}

bool OlderRule(int revision) { return revision <= 0x12; }

std::string NameOf(Kind kind) {
  static const char* const kNames[] = {"Hd", "Rd",    "Dd",     "Hp", "HpNode", "Rp",   "Mp",
                                       "Dp", "Cache", "Cheseg", "Ld", "Pd",     "Rank", "Pool"};
  return kNames[kind];
}

std::string RevisionName(int revision) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%02X", static_cast<unsigned>(revision & 0xFF));
  return text;
}

std::vector<int> AllRevisions() { return RevisionsFrom(kOldestRevision); }

std::vector<int> RevisionsFrom(int first, int last) {
  std::vector<int> revisions;
  for (int revision = first; revision <= last; ++revision) revisions.push_back(revision);
  return revisions;
}

}  // namespace revtest
