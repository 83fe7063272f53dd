// Random resource lists with unique keys, and their structure records.

#include "tests/model/random_config.h"

#include <algorithm>

#include "tests/model/period.h"
#include "tests/model/structure_record.h"

namespace model {
namespace {

std::size_t RandomCount(Random& random, Kind kind, ArraySize size) {
  if (random.Percent(12)) return 0;
  if (size == ArraySize::kLarge) return static_cast<std::size_t>(random.Range(5, 40));
  const bool many = size == ArraySize::kManyDisks;
  switch (kind) {
    case Kind::kLd:
      return static_cast<std::size_t>(many ? random.Range(100, 300) : random.Range(1, 9));
    case Kind::kPd:
      return static_cast<std::size_t>(many ? random.Range(20, 60) : random.Range(1, 6));
    default:
      return static_cast<std::size_t>(random.Range(1, 4));
  }
}

// A fixed part filled with garbage around a unique key, and a variable part where there is one.
std::vector<Bytes> RandomList(Random& random, const ListRule& rule, std::size_t entry_size,
                              const std::vector<std::size_t>& key_at, std::size_t count) {
  std::vector<Bytes> entries;
  const int base = random.Range(0, key_at.size() > 1 ? 60000 : 200);
  const int step = key_at.size() > 1 ? random.Range(1, 9) : 1;
  for (std::size_t i = 0; i < count; ++i) {
    Bytes entry = random.Garbage(entry_size);
    const std::size_t number = static_cast<std::size_t>(base) + i * static_cast<std::size_t>(step);
    if (key_at.size() == 1) entry[key_at[0]] = static_cast<uint8_t>(number);
    if (key_at.size() > 1) {
      entry[key_at[0]] = static_cast<uint8_t>((number >> 8) & 0xFF);
      entry[key_at[1]] = static_cast<uint8_t>(number & 0xFF);
    }
    if (rule.variable) {
      Append(entry, random.Garbage(static_cast<std::size_t>(random.Range(0, 20))));
      Patch32(entry, rule.length_at, static_cast<uint32_t>(entry.size()));
    }
    entries.push_back(entry);
  }
  if (random.Percent(30)) random.Shuffle(entries);
  return entries;
}

// First key bytes repeat when the second one is in use.
void RekeyChesegs(Random& random, std::vector<Bytes>& entries) {
  const uint8_t base = random.Byte();
  for (std::size_t i = 0; i < entries.size(); ++i) {
    entries[i][0] = static_cast<uint8_t>(base + i / 2);
    entries[i][1] = static_cast<uint8_t>(i);
  }
}

std::vector<Bytes> RandomElements(Random& random, std::size_t count, std::size_t size) {
  std::vector<Bytes> elements;
  // One more than there is room for, so that some find no slot.
  for (std::size_t i = 0; i < count + 1; ++i) {
    Bytes element = random.Garbage(size);
    element[0] = static_cast<uint8_t>(i);
    element[1] = static_cast<uint8_t>(random.Range(0, 1));
    element[2] = static_cast<uint8_t>(i % 2);
    element[3] = static_cast<uint8_t>(i);
    element[12] = static_cast<uint8_t>(random.Percent(70) ? 1 : random.Range(0, 2));
    elements.push_back(element);
  }
  return elements;
}

void SetOptionalCount(Random& random, Bytes& basic, std::size_t at) {
  uint16_t word = static_cast<uint16_t>(random.Percent(15) ? 0 : random.Range(1, 4));
  if (random.Percent(70)) word = static_cast<uint16_t>(word | 0x8000U);
  Patch16(basic, at, word);
}

// One section of the structure record, to be placed somewhere.
struct Section {
  std::size_t slot = 0;
  Bytes bytes;
};

}  // namespace

bool RandomConfig::excluded(std::size_t slot) const {
  if (!RankOrPool(revision)) return false;
  return basic[95] == 0 ? slot == 120 : slot == 112;
}

uint16_t RandomConfig::optional_count(std::size_t at) const {
  return static_cast<uint16_t>(Get16(basic, at) & 0x7FFFU);
}

bool RandomConfig::optional_present(std::size_t at) const {
  return (Get16(basic, at) & 0x8000U) != 0;
}

std::vector<Bytes> RandomConfig::Keys(const KindRule& rule) const {
  if (rule.kind == Kind::kHpNode) return hp_nodes;
  std::vector<Bytes> keys;
  for (const Bytes& entry : lists.at(rule.slot)) {
    keys.push_back(ListKey(rule, entry, second_cheseg_key()));
  }
  return keys;
}

RandomConfig MakeConfig(Random& random, int revision, ArraySize array_size) {
  RandomConfig config;
  config.revision = revision;
  config.basic = random.Garbage(kBasicSize);
  config.basic[95] = static_cast<uint8_t>(random.Percent(50) ? 0 : random.Range(1, 255));
  for (const std::size_t at : {98U, 100U, 102U, 104U}) SetOptionalCount(random, config.basic, at);

  const std::vector<KindRule> kinds = KindRules(revision);
  for (const ListRule& rule : ListRules(revision)) {
    config.first_fields[rule.slot] = random.Half();
    std::size_t size = rule.entry_size;
    if (size == 0) {
      const uint16_t sizes[] = {48, 64, 64, 50, 33, 2};
      size = sizes[random.Below(6)];
      config.first_fields[rule.slot] = static_cast<uint16_t>(size);
    }
    std::vector<std::size_t> key_at;
    std::size_t count = static_cast<std::size_t>(random.Percent(30) ? 0 : random.Range(1, 3));
    for (const KindRule& kind : kinds) {
      if (!kind.in_structure || kind.slot != rule.slot) continue;
      key_at = kind.list_key;
      count = RandomCount(random, kind.kind, array_size);
    }
    config.lists[rule.slot] = RandomList(random, rule, size, key_at, count);
  }
  for (const KindRule& kind : kinds) {
    if (kind.kind == Kind::kCheseg && config.second_cheseg_key()) {
      RekeyChesegs(random, config.lists[kind.slot]);
    }
    if (kind.kind == Kind::kHpNode) {
      const int most_nodes = array_size == ArraySize::kLarge ? 30 : 4;
      const int nodes = random.Percent(25) ? 0 : random.Range(1, most_nodes);
      for (int i = 0; i < nodes; ++i) {
        config.hp_nodes.push_back({static_cast<uint8_t>(i / 3), 7, static_cast<uint8_t>(i % 3)});
      }
    }
  }
  if (HasSlot104(revision)) {
    config.first_fields[104] = random.Half();
    const std::size_t count = static_cast<std::size_t>(random.Percent(50) ? 0 : random.Range(1, 3));
    config.lists[104] = RandomList(random, ListRule(), 16, {}, count);
  }
  config.first_fields[16] = random.Half();
  config.has_trailing = TrailingSlot(revision) != 0 && random.Percent(70);
  config.trailing = random.Garbage(static_cast<std::size_t>(random.Range(0, 40)));
  config.last_word = random.Word();

  config.conc = RandomElements(random, config.optional_count(98), 16);
  config.ld_cp = RandomElements(random, config.optional_count(100), 32);
  config.pool_cp = RandomElements(random, config.optional_count(102), 48);
  config.cab = RandomElements(random, config.optional_count(104), 16);
  return config;
}

void RenameConfig(Random& random, RandomConfig& config) {
  config.last_word = random.Word();
  config.first_fields[16] = random.Half();
  config.basic[0] = random.Byte();
  config.basic[96] = random.Byte();
  for (const KindRule& kind : KindRules(config.revision)) {
    if (!kind.in_structure || kind.kind == Kind::kCheseg || kind.variable) continue;
    for (Bytes& entry : config.lists[kind.slot]) {
      if (entry.size() > 4) entry[entry.size() - 1] = random.Byte();
    }
  }
}

Bytes EncodeStructure(Random& random, const RandomConfig& config, uint32_t stamp,
                      bool continuation) {
  const int revision = config.revision;
  Bytes record(RecordHeadSize(revision), 0);
  PatchText(record, 0, "CON");
  record[3] = random.Byte();
  Patch32(record, 4, stamp);
  if (continuation) record[12] = random.Percent(80) ? uint8_t{1} : random.NonZero();
  record[13] = random.Byte();
  if (revision >= 0x1D) Patch16(record, 14, random.Half());
  PatchDescriptor(record, 16,
                  {config.first_fields.at(16), static_cast<uint16_t>(random.Range(0, 2)),
                   static_cast<uint32_t>(record.size())});
  Append(record, config.basic);

  std::vector<Section> sections;
  for (const ListRule& rule : ListRules(revision)) {
    Section section{rule.slot, {}};
    for (const Bytes& entry : config.lists.at(rule.slot)) Append(section.bytes, entry);
    if (HasSlot104(revision) && rule.slot == 112) {  // always in front of ranks and pools
      Section list_104{104, {}};
      for (const Bytes& entry : config.lists.at(104)) Append(list_104.bytes, entry);
      sections.push_back(list_104);
    }
    sections.push_back(section);
  }
  const bool shuffled = random.Percent(30);
  if (shuffled) {
    random.Shuffle(sections);
    std::stable_partition(sections.begin(), sections.end(),
                          [](const Section& section) { return section.slot == 104; });
  }
  for (const Section& section : sections) {
    if (shuffled) Append(record, random.Garbage(static_cast<std::size_t>(random.Range(0, 5))));
    Descriptor descriptor;
    descriptor.first = config.first_fields.at(section.slot);
    descriptor.count = static_cast<uint16_t>(config.lists.at(section.slot).size());
    descriptor.offset = static_cast<uint32_t>(record.size());
    if (descriptor.count == 0 && random.Percent(30)) descriptor.offset = 0;
    if (config.excluded(section.slot) && random.Percent(80)) {
      descriptor.offset = random.Percent(50) ? 0 : random.Word();
      PatchDescriptor(record, section.slot, descriptor);
      continue;
    }
    PatchDescriptor(record, section.slot, descriptor);
    Append(record, section.bytes);
  }
  if (TrailingSlot(revision) != 0) {
    if (config.has_trailing) {
      Patch32(record, TrailingSlot(revision), static_cast<uint32_t>(record.size()));
      Append(record, config.trailing);
    }
    Patch32(record, TrailingSlot(revision) + 4, config.last_word);
  }
  Patch32(record, 8, static_cast<uint32_t>(record.size()));
  return record;
}

}  // namespace model
