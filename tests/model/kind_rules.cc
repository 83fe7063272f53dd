// The layout tables of the test model, one obvious function per kind or question.

#include "tests/model/kind_rules.h"

namespace model {
namespace {

// Descriptor positions of a family, 0 for kinds that it lacks.
struct Slots {
  std::size_t hd = 0, rd = 0, dd = 0, hp = 0, hp_node = 0, rp = 0, mp = 0, dp = 0, cache = 0;
  std::size_t cheseg = 0, ld = 0, pd = 0, rank = 0, pool = 0;
};

Slots SlotsOf(int revision) {
  Slots slots;
  if (revision >= 0x19) {
    slots.hd = 24;
    slots.hp = 48;
    slots.rp = 56;
    slots.dp = 64;
    slots.cache = 72;
    slots.cheseg = 80;
    slots.ld = 88;
    slots.pd = 96;
    slots.rank = 112;
    slots.pool = 120;
    if (revision >= 0x1A) {
      slots.rd = 32;
      slots.dd = 40;
      slots.hp_node = 128;
    }
    if (revision >= 0x1D) slots.mp = 136;
  } else if (revision >= 0x14) {
    slots.hp = 24;
    slots.rp = 32;
    slots.dp = 40;
    slots.cheseg = 48;
    slots.ld = 56;
    slots.pd = 64;
    slots.rank = 72;
    slots.pool = 80;
  } else if (revision == 0x13) {
    slots.hp = 24;
    slots.dp = 32;
    slots.cheseg = 40;
    slots.ld = 48;
    slots.pd = 56;
    slots.rank = 64;
  } else {
    slots.hp = 24;
    slots.dp = 32;
    slots.ld = 40;
    slots.pd = 48;
    if (revision >= 0x11) slots.rank = 56;
  }
  return slots;
}

KindRule Basic(Kind kind, const char* name, std::size_t slot, std::size_t size,
               std::size_t list_size) {
  KindRule rule;
  rule.kind = kind;
  rule.name = name;
  rule.slot = slot;
  rule.size = size;
  rule.head = size;
  rule.list_size = list_size;
  return rule;
}

void SetTwoByteKey(KindRule& rule) {
  rule.list_key = {0, 1};
  rule.entry_key = {8, 9};
  rule.not_valid_at = 11;
}

void SetRatio(KindRule& rule, std::size_t at) {
  rule.ratio_rule = RatioRule::kAlways;
  rule.ratio_at = at;
}

void SetFlaggedRatio(KindRule& rule, std::size_t flag_at, uint8_t flag) {
  rule.ratio_rule = RatioRule::kBit;
  rule.ratio_at = 14;
  rule.ratio_flag_at = flag_at;
  rule.ratio_flag = flag;
}

void SetCompact(KindRule& rule, std::size_t head, std::size_t compact_at, bool on_output) {
  rule.head = head;
  rule.compact_at = compact_at;
  rule.compact_output = on_output;
}

void SetQuads(KindRule& rule, std::size_t at, std::size_t count) {
  rule.quads_at = at;
  rule.quads = count;
}

// Hd, Rd and Dd: one key byte and a ratio.
KindRule DirectorRule(Kind kind, const char* name, std::size_t slot) {
  KindRule rule = Basic(kind, name, slot, 32, 4);
  rule.list_key = {0};
  rule.entry_key = {8};
  rule.not_valid_at = 9;
  SetRatio(rule, 14);
  return rule;
}

KindRule HpRule(int layout, std::size_t slot) {
  KindRule rule = Basic(Kind::kHp, "Hp", slot, layout <= 0x11 ? 64 : 112, layout >= 0x1D ? 48 : 4);
  SetTwoByteKey(rule);
  if (layout <= 0x11) {
    SetQuads(rule, 16, 3);
  } else {
    SetFlaggedRatio(rule, 10, 0x02);
    SetQuads(rule, 16, 6);
  }
  if (layout >= 0x1D) rule.search = Search::kPosition;
  return rule;
}

KindRule HpNodeRule(std::size_t slot) {
  KindRule rule = Basic(Kind::kHpNode, "HpNode", slot, 112, 4);
  rule.in_structure = false;
  rule.list_key = {0, 1, 2};
  rule.entry_key = {8, 9, 13};
  rule.not_valid_at = 11;
  SetFlaggedRatio(rule, 10, 0x02);
  SetQuads(rule, 16, 6);
  return rule;
}

KindRule RpRule(int layout, std::size_t slot) {
  KindRule rule = Basic(Kind::kRp, "Rp", slot, 112, layout >= 0x1D ? 8 : 4);
  SetTwoByteKey(rule);
  SetCompact(rule, 16, 10, true);
  SetFlaggedRatio(rule, 12, 0x01);
  SetQuads(rule, 16, 6);
  if (layout >= 0x1D) rule.search = Search::kPosition;
  return rule;
}

KindRule MpRule(std::size_t slot) {
  KindRule rule = Basic(Kind::kMp, "Mp", slot, 48, 8);
  SetTwoByteKey(rule);
  SetCompact(rule, 16, 10, true);
  SetRatio(rule, 14);
  SetQuads(rule, 16, 2);
  rule.search = Search::kPosition;
  return rule;
}

KindRule DpRule(std::size_t slot) {
  KindRule rule = Basic(Kind::kDp, "Dp", slot, 48, 4);
  SetTwoByteKey(rule);
  SetRatio(rule, 14);
  SetQuads(rule, 16, 2);
  return rule;
}

// The cache entries themselves have rules of their own.
KindRule CacheRule(int layout, std::size_t slot) {
  KindRule rule = Basic(Kind::kCache, "Cache", slot, CacheEntrySize(layout), 32);
  rule.list_key = {0};
  rule.entry_key = {8};
  rule.not_valid_at = 9;
  return rule;
}

// The second key byte, where in use, is added by those who know the basic information.
KindRule ChesegRule(std::size_t slot) {
  KindRule rule = Basic(Kind::kCheseg, "Cheseg", slot, 96, 32);
  rule.list_key = {0};
  rule.entry_key = {8};
  rule.not_valid_at = 10;
  SetCompact(rule, 16, 9, true);
  SetRatio(rule, 14);
  SetQuads(rule, 16, 5);
  return rule;
}

KindRule LdRule(int layout, int file_revision, std::size_t slot) {
  KindRule rule = Basic(Kind::kLd, "Ld", slot, 96, layout >= 0x15 ? 64 : 48);
  rule.variable = layout >= 0x15;
  rule.length_at = 52;
  rule.list_key = {0, 1};
  rule.entry_key = {8, 9};
  rule.not_valid_at = 11;
  SetCompact(rule, 16, 10, true);
  if (file_revision >= 0x11) SetFlaggedRatio(rule, 13, 0x01);
  SetQuads(rule, 16, 5);
  rule.search = layout >= 0x15 ? Search::kCursor : Search::kPlain;
  return rule;
}

KindRule PdRule(int layout, int file_revision, std::size_t slot) {
  const bool old_form = layout <= 0x10;
  KindRule rule = Basic(Kind::kPd, "Pd", slot, old_form ? 48 : 64, 48);
  SetTwoByteKey(rule);
  SetCompact(rule, old_form ? 16 : 32, 10, true);
  if (file_revision >= 0x11) SetRatio(rule, 20);
  SetQuads(rule, old_form ? 16 : 32, 2);
  rule.search = Search::kCursor;
  return rule;
}

KindRule RankRule(int layout, std::size_t slot) {
  KindRule rule = Basic(Kind::kRank, "Rank", slot, layout <= 0x11 ? 32 : 64, 32);
  rule.variable = true;
  rule.length_at = 0;
  SetTwoByteKey(rule);
  rule.list_key = {4, 5};
  SetCompact(rule, 32, 10, true);
  SetRatio(rule, 20);
  SetQuads(rule, 32, layout <= 0x11 ? 0 : 2);
  return rule;
}

KindRule PoolRule(int layout, std::size_t slot) {
  KindRule rule = Basic(Kind::kPool, "Pool", slot, 64, layout >= 0x1C ? 0 : 48);
  rule.list_key = {0, 1};
  rule.entry_key = {8, 9};
  rule.not_valid_at = 11;
  SetCompact(rule, 32, 10, false);
  SetRatio(rule, 16);
  SetQuads(rule, 32, 2);
  return rule;
}

}  // namespace

std::vector<KindRule> KindRules(int layout, int file_revision) {
  const Slots slots = SlotsOf(layout);
  std::vector<KindRule> rules;
  const auto add = [&](const KindRule& rule) {
    if (rule.slot == 0) return;
    rules.push_back(rule);
    rules.back().items = ItemCount(file_revision, rule.kind);
  };
  add(DirectorRule(Kind::kHd, "Hd", slots.hd));
  add(DirectorRule(Kind::kRd, "Rd", slots.rd));
  add(DirectorRule(Kind::kDd, "Dd", slots.dd));
  add(HpRule(layout, slots.hp));
  add(HpNodeRule(slots.hp_node));
  add(RpRule(layout, slots.rp));
  add(MpRule(slots.mp));
  add(DpRule(slots.dp));
  add(CacheRule(layout, slots.cache));
  add(ChesegRule(slots.cheseg));
  add(LdRule(layout, file_revision, slots.ld));
  add(PdRule(layout, file_revision, slots.pd));
  add(RankRule(layout, slots.rank));
  add(PoolRule(layout, slots.pool));
  return rules;
}

std::vector<KindRule> KindRules(int revision) { return KindRules(revision, revision); }

int ItemCount(int revision, Kind kind) {
  switch (kind) {
    case Kind::kHd:
      return revision >= 0x19 ? 2 : 0;
    case Kind::kRd:
    case Kind::kDd:
      return revision >= 0x1A ? 2 : 0;
    case Kind::kHp:
      if (revision <= 0x11) return 8;
      return revision <= 0x18 ? 20 : 22;
    case Kind::kHpNode:
      return revision >= 0x1A ? 22 : 0;
    case Kind::kRp:
      if (revision < 0x14) return 0;
      return revision <= 0x18 ? 24 : 26;
    case Kind::kMp:
      return revision >= 0x1D ? 10 : 0;
    case Kind::kDp:
      return revision <= 0x18 ? 8 : 10;
    case Kind::kCache:
      return 0;
    case Kind::kCheseg:
      return revision >= 0x13 ? 20 : 0;
    case Kind::kLd:
      return revision == 0x10 ? 20 : 22;
    case Kind::kPd:
      return revision == 0x10 ? 8 : 10;
    case Kind::kRank:
      if (revision == 0x10) return 0;
      return revision == 0x11 ? 2 : 10;
    case Kind::kPool:
      return revision >= 0x14 ? 10 : 0;
  }
  return 0;
}

uint32_t FullMask(int items) {
  uint32_t mask = 0;
  for (int i = 0; i < items; ++i) mask |= 0x80000000U >> i;
  return mask;
}

std::size_t MaskOffset(int revision, Kind kind) {
  std::vector<Kind> order;  // from offset 32 on, four bytes each
  if (revision >= 0x19) {
    // The word at 56 is reserved; kCache, which has no bitmap, keeps its place.
    order = {Kind::kHd,   Kind::kRd,    Kind::kDd,     Kind::kHp, Kind::kRp,
             Kind::kDp,   Kind::kCache, Kind::kCheseg, Kind::kLd, Kind::kPd,
             Kind::kRank, Kind::kPool,  Kind::kHpNode, Kind::kMp};
  } else if (revision >= 0x14) {
    order = {Kind::kHp, Kind::kRp, Kind::kDp,   Kind::kCheseg,
             Kind::kLd, Kind::kPd, Kind::kRank, Kind::kPool};
  } else if (revision == 0x13) {
    order = {Kind::kHp, Kind::kDp, Kind::kCheseg, Kind::kLd, Kind::kPd, Kind::kRank};
  } else {
    order = {Kind::kHp, Kind::kDp, Kind::kLd, Kind::kPd, Kind::kRank};
  }
  if (kind == Kind::kCache || ItemCount(revision, kind) == 0) return 0;
  for (std::size_t i = 0; i < order.size(); ++i) {
    if (order[i] == kind) return 32 + 4 * i;
  }
  return 0;
}

std::size_t FileHeaderSize(int revision) { return revision >= 0x19 ? 256 : 80; }

std::size_t RecordHeadSize(int revision) {
  if (revision >= 0x19) return 256;
  if (revision >= 0x14) return 112;
  return revision == 0x13 ? 96 : 80;
}

std::size_t TrailingSlot(int revision) {
  if (revision >= 0x19) return 248;
  return revision >= 0x15 ? 104 : 0;
}

bool RankOrPool(int revision) { return revision >= 0x19; }
bool HasSlot104(int revision) { return revision >= 0x19; }
bool HasSlot128(int revision) { return revision >= 0x1A; }
bool HasSlot144(int revision) { return revision >= 0x1E; }
bool OlderQuadRule(int revision) { return revision <= 0x12; }
bool HasConc(int revision) { return revision >= 0x18; }
bool HasPairs(int revision) { return revision >= 0x1B; }
bool HasItems(int revision) { return revision >= 0x14; }
bool HasWaitTime(int revision) { return revision >= 0x1C; }
bool HasCab(int revision) { return revision >= 0x1D; }

std::size_t CacheEntrySize(int revision) {
  if (revision >= 0x21) return 128;
  return revision >= 0x1F ? 96 : 32;
}

}  // namespace model
