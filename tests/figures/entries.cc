// Entries from raw bytes: sections, then optional items, in the order in which they stand.

#include "tests/figures/entries.h"

#include "tests/model/optional_items.h"
#include "tests/model/structure_record.h"

namespace figures {
namespace {

using model::Bytes;
using model::Get16;
using model::Get32;
using model::Get8;
using model::Kind;
using model::KindRule;

constexpr const char* kWords[] = {"hd", "rd",    "dd",     "hp", "hpnode", "rp",   "mp",
                                  "dp", "cache", "cheseg", "ld", "pd",     "rank", "pool"};

// Revisions that matter to how one record is read: 0x10 files may hold records laid out as 0x11.
struct Layout {
  int file = 0;
  int record = 0;
};

Json Percent(const Bytes& entry, std::size_t at) { return Get16(entry, at) / 100.0; }

bool Bit(const Bytes& entry, std::size_t at, int bit) { return (Get8(entry, at) >> bit & 1) != 0; }

// The extended words behind an entry, by the number of their bit from the top.
std::map<int, uint32_t> WordsBehind(const Bytes& record, std::size_t at, uint32_t mask) {
  std::map<int, uint32_t> words;
  for (int bit = 0; bit < 32; ++bit) {
    if ((mask << bit & 0x80000000U) == 0) continue;
    words[bit] = Get32(record, at);
    at += 4;
  }
  return words;
}

bool Has(uint32_t mask, int bit) { return (mask << bit & 0x80000000U) != 0; }

std::string KeyText(const KindRule& rule, const Bytes& bytes, bool second_cheseg) {
  if (rule.kind == Kind::kLd || rule.kind == Kind::kPool) return std::to_string(Get16(bytes, 8));
  std::string text;
  for (const std::size_t at : rule.entry_key) {
    text += (text.empty() ? "" : ".") + std::to_string(Get8(bytes, at));
  }
  if (rule.kind == Kind::kCheseg && second_cheseg) text += "." + std::to_string(Get8(bytes, 12));
  return text;
}

// Flags, marks and carried words, by kind.
void TakeFlags(const Layout& layout, const KindRule& rule, const Bytes& bytes, bool second_cheseg,
               Entry& entry) {
  Values& to = entry.others;
  switch (rule.kind) {
    case Kind::kHd:
    case Kind::kRd:
      to["word_at_16"] = Get32(bytes, 16);
      to["word_at_20"] = Get32(bytes, 20);
      break;
    case Kind::kHp:
      if (layout.record >= 0x12) to["counted"] = Bit(bytes, 10, 0);
      break;
    case Kind::kHpNode:
      to["counted"] = Bit(bytes, 10, 0);
      break;
    case Kind::kCheseg:
      to["second_flags"] = Get8(bytes, 11);
      if (entry.valid && !second_cheseg && !Bit(bytes, 11, 7)) {
        to["second_pct"] = Percent(bytes, 12);
      }
      break;
    case Kind::kLd:
      // Where 0x10 records are laid out as 0x11 the flags byte has no meaning.
      if (layout.file >= 0x11) to["sticky"] = Bit(bytes, 13, 1);
      if (layout.file >= 0x1F) to["mark"] = Bit(bytes, 13, 2);
      break;
    case Kind::kPd:
    case Kind::kRank:
      if (layout.file >= 0x11) to["word_at_16"] = Get32(bytes, 16);
      break;
    case Kind::kPool:
      to["word_at_12"] = Get32(bytes, 12);
      if (layout.file >= 0x1F) to["mark"] = Bit(bytes, 18, 0);
      break;
    default:
      break;
  }
}

// Of a cache module that is not valid, what 0x21 added counts all the same.
void TakeCache(int revision, const Bytes& bytes, Entry& entry) {
  Values& to = entry.others;
  if (entry.valid) {
    to["first_pct"] = Percent(bytes, 16);
    to["first_max"] = Get16(bytes, 18);
  }
  if (revision >= 0x21) {
    to["second_pct"] = Percent(bytes, 20);
    to["second_max"] = Get16(bytes, 22);
    to["first_rate"] = Get32(bytes, 24);
    to["second_rate"] = Get32(bytes, 28);
    to["flags"] = Get8(bytes, 10);
  }
  const std::size_t groups = revision >= 0x21 ? 6 : revision >= 0x1F ? 4 : 0;
  for (std::size_t i = 0; i < groups; ++i) {
    Group group;
    group.words = model::ReadQuad(bytes, 32 + 16 * i);
    group.stored = true;
    group.known = entry.valid || i >= 4;
    group.volume = true;
    entry.groups.push_back(group);
  }
}

void TakeRatio(const Layout& layout, const KindRule& rule, const Bytes& bytes, uint32_t mask,
               const std::map<int, uint32_t>& words, Entry& entry) {
  if (rule.ratio_rule == model::RatioRule::kNone) {
    // The room for it is there where a 0x10 record is laid out as 0x11.
    if (layout.record == 0x11 && rule.kind == Kind::kLd) entry.raw["ratio"] = Get16(bytes, 14);
    if (layout.record == 0x11 && rule.kind == Kind::kPd) entry.raw["ratio"] = Get16(bytes, 20);
    return;
  }
  const bool present = rule.ratio_rule == model::RatioRule::kAlways ||
                       (Get8(bytes, rule.ratio_flag_at) & rule.ratio_flag) != 0;
  const uint16_t ratio = Get16(bytes, rule.ratio_at);
  entry.raw["ratio"] = ratio;
  if (present && entry.valid) entry.ratio = ratio;
  const char* const names[] = {"busy_pct_max", "busy_pct_min"};
  for (int i = 0; i < 2 && rule.ratio_extremes(); ++i) {
    const int bit = static_cast<int>(4 * rule.extreme_quads()) + i;
    if (!Has(mask, bit)) continue;
    const auto word = words.find(bit);
    if (word != words.end() && entry.valid) entry.others[names[i]] = word->second / 100.0;
    // An idle entry has no words; its ratio stands for them.
    if (word == words.end() && entry.ratio) entry.others[names[i]] = ratio / 100.0;
  }
}

void TakeGroups(const Layout& layout, const KindRule& rule, const Bytes& bytes, uint32_t mask,
                const std::map<int, uint32_t>& words, Entry& entry) {
  for (std::size_t g = 0; g < rule.quads; ++g) {
    Group group;
    group.stored = !entry.compact.value_or(false);
    group.known = entry.valid;
    group.older = model::OlderQuadRule(layout.file);
    group.volume = !group.older;
    if (group.stored) group.words = model::ReadQuad(bytes, rule.quads_at + 16 * g);
    for (int i = 0; i < 4 && g < rule.extreme_quads(); ++i) {
      const int bit = static_cast<int>(4 * g) + i;
      const auto at = static_cast<std::size_t>(i);
      group.masked[at] = Has(mask, bit);
      group.meant[at] = group.masked[at] && bit < rule.items;
      if (words.count(bit) != 0) group.extremes[at] = words.at(bit);
    }
    entry.groups.push_back(group);
  }
  for (int bit = static_cast<int>(4 * rule.extreme_quads()); bit < 32; ++bit) {
    const std::string name = "word_bit" + std::to_string(31 - bit);
    if (Has(mask, bit)) entry.raw[name] = words.count(bit) == 0 ? Json() : Json(words.at(bit));
  }
}

void TakeSection(const Layout& layout, const Bytes& header, const Bytes& record, uint64_t start,
                 const KindRule& rule, const model::Structure& structure,
                 std::vector<Entry>& entries) {
  const model::Descriptor section = model::ReadDescriptor(record, rule.slot);
  if (section.count == 0 || section.offset == 0 || structure.excluded(rule.slot)) return;
  if (rule.kind == Kind::kDp && section.count != structure.count(rule.slot)) return;
  const std::size_t mask_at = model::MaskOffset(layout.file, rule.kind);
  const uint32_t mask = mask_at == 0 ? 0 : Get32(header, mask_at);
  const bool second_cheseg = structure.second_cheseg_key();
  std::size_t at = section.offset;
  for (int i = 0; i < section.count; ++i) {
    Entry entry;
    entry.kind = kWords[static_cast<int>(rule.kind)];
    entry.offset = start + at;
    if (rule.compact_at != 0) entry.compact = Get8(record, at + rule.compact_at) != 0;
    const bool compact = entry.compact.value_or(false);
    const Bytes bytes = model::Slice(record, at, compact ? rule.head : rule.size);
    at += bytes.size();
    std::map<int, uint32_t> words;
    if (!compact) words = WordsBehind(record, at, mask);
    at += 4 * words.size();
    entry.key = KeyText(rule, bytes, second_cheseg);
    entry.status = Get32(bytes, 0);
    entry.length = Get32(bytes, 4);
    entry.valid = Get8(bytes, rule.not_valid_at) == 0;
    TakeFlags(layout, rule, bytes, second_cheseg, entry);
    TakeRatio(layout, rule, bytes, mask, words, entry);
    if (rule.kind == Kind::kCache) {
      TakeCache(layout.file, bytes, entry);
    } else {
      TakeGroups(layout, rule, bytes, mask, words, entry);
    }
    entries.push_back(entry);
  }
}

struct ItemRule {
  uint8_t type;
  const char* kind;
  std::size_t element;
};

// The items that a revision carries; all others are passed over.
std::optional<ItemRule> RuleOfItem(int revision, uint8_t type) {
  if (type == model::kConcItem && model::HasConc(revision)) return ItemRule{type, "conc", 16};
  if (type == model::kLdCpItem && model::HasPairs(revision)) return ItemRule{type, "ld-cp", 32};
  if (type == model::kPoolCpItem && model::HasPairs(revision)) return ItemRule{type, "pool-cp", 48};
  if (type == model::kWaitTimeItem && model::HasWaitTime(revision)) {
    return ItemRule{type, "wait-time", 32};
  }
  if (type == model::kCabItem && model::HasCab(revision)) return ItemRule{type, "cab", 16};
  return std::nullopt;
}

bool ElementsTaken(int revision, uint8_t type, uint8_t flag) {
  if (type == model::kConcItem || type == model::kWaitTimeItem) return true;
  const bool pair = type == model::kLdCpItem || type == model::kPoolCpItem;
  return (pair && revision == 0x1B) || (flag & 0x80) != 0;
}

std::string HexText(const Bytes& bytes) {
  std::string text;
  for (const uint8_t byte : bytes) {
    text += "0123456789abcdef"[byte / 16];
    text += "0123456789abcdef"[byte % 16];
  }
  return text;
}

Entry ElementEntry(const ItemRule& rule, const Bytes& item, const Bytes& element) {
  Entry entry;
  entry.item = true;
  entry.kind = rule.kind;
  entry.status = Get32(item, 0);
  entry.length = Get32(item, 4);
  entry.others["item_flag"] = item[13];
  entry.raw["bytes"] = HexText(element);
  const auto part = [&element](std::size_t at) { return std::to_string(element[at]); };
  switch (rule.type) {
    case model::kConcItem:
      entry.key = std::to_string(Get16(element, 0));
      entry.others["present"] = element[12] == 1;
      break;
    case model::kWaitTimeItem: {
      entry.key = std::to_string(Get16(element, 0));
      Group group;
      group.words = model::ReadQuad(element, 16);
      group.stored = group.known = true;
      entry.groups.push_back(group);
      break;
    }
    case model::kCabItem:
      entry.key = part(0) + "." + std::to_string(Get16(element, 2));
      entry.others["value"] = Get32(element, 8);
      break;
    default:
      entry.key = part(0) + "." + part(1) + "." + part(2) + "." + part(3);
      break;
  }
  return entry;
}

void TakeItems(int revision, const Bytes& record, uint64_t start, std::vector<Entry>& entries) {
  const model::Descriptor section = model::ReadDescriptor(record, 16);
  if (section.offset == 0) return;
  std::size_t at = section.offset;
  for (int i = 0; i < section.count; ++i) {
    const Bytes item = model::Slice(record, at, Get32(record, at + 8));
    const auto rule = RuleOfItem(revision, Get8(item, 12));
    if (rule && ElementsTaken(revision, rule->type, Get8(item, 13))) {
      const std::size_t first = Get32(item, 20);
      for (std::size_t e = 0; e < Get16(item, 18); ++e) {
        const std::size_t from = first + e * rule->element;
        entries.push_back(ElementEntry(*rule, item, model::Slice(item, from, rule->element)));
        entries.back().offset = start + at + from;
      }
    }
    at += item.size();
  }
}

}  // namespace

File ReadFile(const Bytes& bytes) {
  File file;
  file.revision = Get8(bytes, 3);
  file.level = static_cast<char>(Get8(bytes, 12));
  file.header = model::Slice(bytes, 0, model::FileHeaderSize(file.revision));
  model::Structure structure;
  std::size_t number = 0;
  for (std::size_t at = file.header.size(); at < bytes.size();) {
    ++number;
    const Bytes tag_bytes = model::Slice(bytes, at, 3);
    const std::string tag(tag_bytes.begin(), tag_bytes.end());
    std::size_t size = Get32(bytes, at + 8);
    // Up to 0x1A these two are of fixed size, whatever they say.
    if (file.revision <= 0x1A && tag == "NNC") size = 80;
    if (file.revision <= 0x1A && tag == "LDM") size = 64;
    const Bytes record = model::Slice(bytes, at, size);
    if (tag == "CON") structure = model::ReadStructure(record, file.revision);
    if (tag == "STA") {
      const bool newer = file.revision == 0x10 && Get32(record, 60) != 0;
      const Layout layout = {file.revision, newer ? 0x11 : file.revision};
      StatisticsRecord statistics = {number, Get32(record, 4), {}};
      for (const KindRule& rule : model::KindRules(layout.record, layout.file)) {
        TakeSection(layout, file.header, record, at, rule, structure, statistics.entries);
      }
      if (file.revision >= 0x14) TakeItems(file.revision, record, at, statistics.entries);
      file.records.push_back(statistics);
    }
    at += size;
  }
  return file;
}

}  // namespace figures
