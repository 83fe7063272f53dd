// Random entries of every kind and form, and the records that carry them.

#include "tests/model/random_statistics.h"

#include "tests/model/structure_record.h"

namespace model {
namespace {

// Draws nothing where all entries are odd.
bool IsOdd(Random& random, const StatisticsStyle& style) {
  return style.odd == 100 || random.Percent(style.odd);
}

Bytes RandomCacheEntry(Random& random, int revision, const StatisticsStyle& style,
                       const Bytes& key) {
  Bytes entry = random.Garbage(CacheEntrySize(revision));
  Patch32(entry, 4, RandomLength(random, style.mood, style.interval));
  entry[8] = key[0];
  entry[9] = random.Percent(90) ? uint8_t{0} : random.NonZero();
  Patch16(entry, 16, RandomRatio(random, style.mood));
  // Ratios that average to less than one hundredth of a percent are of interest.
  if (random.Percent(30)) Patch16(entry, 20, static_cast<uint16_t>(random.Range(0, 1)));
  if (random.Percent(50)) Patch16(entry, 22, RandomRatio(random, style.mood));
  if (random.Percent(60)) {
    Patch32(entry, 24, RandomCounter(random, style.mood));
    Patch32(entry, 28, RandomCounter(random, style.mood));
  }
  for (std::size_t at = 32; at < entry.size(); at += 4) {
    Patch32(entry, at, RandomCounter(random, style.mood));
  }
  return entry;
}

// One entry with the extended words behind it.
Bytes RandomEntry(Random& random, int revision, const KindRule& rule, const StatisticsStyle& style,
                  const Bytes& key) {
  if (rule.kind == Kind::kCache) return RandomCacheEntry(random, revision, style, key);
  const bool odd = IsOdd(random, style);
  const Mood mood = random.Percent(85) ? style.mood : RandomMood(random);
  Bytes entry = random.Garbage(rule.size);
  Patch32(entry, 4, odd ? RandomLength(random, mood, style.interval) : style.interval);
  for (std::size_t i = 0; i < rule.entry_key.size(); ++i) entry[rule.entry_key[i]] = key[i];
  entry[rule.not_valid_at] = !odd || random.Percent(90) ? uint8_t{0} : random.NonZero();
  if (rule.ratio_rule != RatioRule::kNone) {
    Patch16(entry, rule.ratio_at, RandomRatio(random, mood));
  }
  if (rule.kind == Kind::kCheseg) {
    Patch16(entry, 12, RandomRatio(random, mood));
    if (key.size() > 1) entry[12] = key[1];
  }
  for (std::size_t i = 0; i < 4 * rule.quads; ++i) {
    Patch32(entry, rule.quads_at + 4 * i, RandomCounter(random, mood));
  }
  if (rule.compact_at != 0) {
    const bool compact = odd && random.Percent(25);
    entry[rule.compact_at] = compact ? random.NonZero() : uint8_t{0};
    if (compact) {
      entry.resize(rule.head);
      return entry;
    }
  }
  const uint32_t mask = style.masks.at(rule.kind);
  for (int bit = 0; bit < 32; ++bit) {
    if ((mask >> bit & 1) != 0) Append32(entry, RandomCounter(random, mood));
  }
  return entry;
}

// The keys of one section: mostly those of the configuration in its order.
std::vector<Bytes> SectionKeys(Random& random, const KindRule& rule, std::vector<Bytes> keys,
                               bool listing, const StatisticsStyle& style) {
  if (rule.search == Search::kPosition || keys.empty() || !IsOdd(random, style)) return keys;
  if (random.Percent(20)) random.Shuffle(keys);
  if (listing) return keys;  // the set is built from these: each once
  if (random.Percent(8)) keys[random.Below(keys.size())] = keys[random.Below(keys.size())];
  if (rule.search == Search::kCursor && random.Percent(12)) {
    keys[random.Below(keys.size())] = random.Garbage(2);  // hardly ever configured
  }
  return keys;
}

struct Part {
  std::size_t slot = 0;
  Descriptor header;
  Bytes bytes;
};

Part EncodeSection(Random& random, const RandomConfig& config, StatisticsStyle& style,
                   const KindRule& rule) {
  Part part;
  part.slot = rule.slot;
  part.header.first = random.Half();
  std::vector<Bytes> keys = config.Keys(rule);
  part.header.count = static_cast<uint16_t>(keys.size());
  const bool listing = rule.kind == Kind::kHpNode && !style.nodes_listed;
  if (listing) {
    if (random.Percent(25)) {  // nodes show up in a later record
      part.header.count = 0;
      return part;
    }
    style.nodes_listed = !keys.empty();
  }
  if (config.excluded(rule.slot)) {
    part.header.offset = random.Percent(50) ? 0 : random.Word();
    return part;
  }
  if (!listing && random.Percent(2)) return part;  // offset 0: no entries
  if (rule.kind == Kind::kDp && random.Percent(5)) {
    part.header.count = static_cast<uint16_t>(part.header.count + random.Range(1, 3));
    part.header.offset = random.Word();
    return part;
  }
  keys = SectionKeys(random, rule, keys, listing, style);
  for (const Bytes& key : keys) {
    Append(part.bytes, RandomEntry(random, config.revision, rule, style, key));
  }
  if (keys.empty()) part.header.offset = random.Percent(50) ? 0 : random.Word();
  return part;
}

}  // namespace

std::map<Kind, uint32_t> RandomMasks(Random& random, int revision) {
  std::map<Kind, uint32_t> masks;
  const bool plain = random.Percent(25);  // like an archive's header
  const bool none = random.Percent(20);
  for (const KindRule& rule : KindRules(revision)) {
    const uint32_t full = FullMask(rule.items);
    uint32_t mask = full;
    switch (plain || none ? -1 : random.Range(0, 5)) {
      case -1:
        mask = plain ? full : 0;
        break;
      case 0:
      case 1:
        mask = 0;
        break;
      case 2:
        mask = full & random.Word();
        break;
      case 3:
        mask = full | (random.Word() & random.Word());
        break;
      case 4:
        mask = random.Percent(50) ? random.Word() : random.Word() & ~full;
        break;
      default:
        break;
    }
    masks[rule.kind] = mask;
  }
  return masks;
}

Bytes EncodeStatistics(Random& random, RandomConfig& config, StatisticsStyle& style,
                       uint32_t stamp) {
  const int revision = config.revision;
  Bytes record(RecordHeadSize(revision), 0);
  PatchText(record, 0, "STA");
  record[3] = random.Byte();
  Patch32(record, 4, stamp);
  if (revision >= 0x1D) Patch16(record, 14, random.Half());
  if (HasSlot104(revision)) PatchDescriptor(record, 104, {random.Half(), random.Half(), 0});

  std::vector<Part> parts;
  for (const KindRule& rule : KindRules(revision)) {
    parts.push_back(EncodeSection(random, config, style, rule));
  }
  if (HasItems(revision)) {
    Part part;
    part.slot = 16;
    part.header.first = random.Half();
    const std::vector<Bytes> items = EncodeItems(random, config, style.mood);
    part.header.count = static_cast<uint16_t>(items.size());
    for (const Bytes& item : items) Append(part.bytes, item);
    if (random.Percent(5)) {  // offset 0: no items, whatever the count
      part.header.count = random.Half();
      part.bytes.clear();
    }
    parts.push_back(part);
  }
  const bool shuffled = random.Percent(30);
  if (shuffled) random.Shuffle(parts);
  for (Part& part : parts) {
    if (shuffled) Append(record, random.Garbage(random.Below(6)));
    if (!part.bytes.empty()) part.header.offset = static_cast<uint32_t>(record.size());
    PatchDescriptor(record, part.slot, part.header);
    Append(record, part.bytes);
  }
  Patch32(record, 8, static_cast<uint32_t>(record.size()));
  return record;
}

}  // namespace model
