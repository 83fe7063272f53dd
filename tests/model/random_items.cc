// Random optional items: carried kinds, kinds that the revision does not carry, unknown types.

#include <algorithm>

#include "tests/model/optional_items.h"
#include "tests/model/random_statistics.h"

namespace model {
namespace {

// Head fields that a reader must not look at are garbage.
Bytes ItemHead(Random& random, uint8_t type, Mood mood) {
  Bytes item = random.Garbage(24);
  Patch32(item, 4, RandomLength(random, mood, 60000));
  item[12] = type;
  return item;
}

Bytes Finish(Bytes item) {
  Patch32(item, 8, static_cast<uint32_t>(item.size()));
  return item;
}

Bytes UnknownItem(Random& random, uint8_t type) {
  Bytes item = random.Garbage(24);
  item[12] = type;
  Append(item, random.Garbage(static_cast<std::size_t>(random.Range(0, 9))));
  return Finish(item);
}

// Elements from the pool, at most as many as there are slots; some change on the way.
Bytes PoolItem(Random& random, uint8_t type, Mood mood, std::vector<Bytes>& pool, std::size_t slots,
               bool always_taken) {
  Bytes item = ItemHead(random, type, mood);
  item[13] = static_cast<uint8_t>(random.Byte() & 0x7F);
  const bool marked = random.Percent(65);
  if (marked) item[13] = static_cast<uint8_t>(item[13] | 0x80);
  if (!marked && !always_taken && random.Percent(50)) return Finish(item);  // garbage count

  const std::size_t count = random.Below(slots + 1);
  const std::size_t gap = random.Percent(70) ? 0 : random.Below(12);
  Append(item, random.Garbage(gap));
  Patch16(item, 18, static_cast<uint16_t>(count));
  if (count > 0) Patch32(item, 20, static_cast<uint32_t>(item.size()));
  std::vector<std::size_t> order(pool.size());
  for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
  if (random.Percent(30)) random.Shuffle(order);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t which = random.Percent(5) ? random.Below(pool.size()) : order[i];
    Bytes& element = pool[which];
    if (random.Percent(25)) Patch32(element, 8, RandomCounter(random, mood));
    if (type == kConcItem && random.Percent(20))
      element[12] = static_cast<uint8_t>(random.Range(0, 2));
    Append(item, element);
  }
  if (random.Percent(20)) Append(item, random.Garbage(random.Below(7)));
  return Finish(item);
}

Bytes WaitTimeItem(Random& random, const RandomConfig& config, Mood mood) {
  std::vector<Bytes> keys;
  for (const KindRule& rule : KindRules(config.revision)) {
    if (rule.kind == Kind::kLd) keys = config.Keys(rule);
  }
  Bytes item = ItemHead(random, kWaitTimeItem, mood);
  const std::size_t count = std::min<std::size_t>(random.Below(keys.size() + 1), 12);
  Patch16(item, 18, static_cast<uint16_t>(count));
  if (count > 0) Patch32(item, 20, static_cast<uint32_t>(item.size()));
  const std::size_t start = random.Below(keys.size());
  for (std::size_t i = 0; i < count; ++i) {
    Bytes element = random.Garbage(32);
    const Bytes& key =
        keys[random.Percent(10) ? random.Below(keys.size()) : (start + i) % keys.size()];
    if (!random.Percent(5)) {  // else a disk that is not configured
      element[0] = key[0];
      element[1] = key[1];
    }
    for (std::size_t at = 16; at < 32; at += 4) Patch32(element, at, RandomCounter(random, mood));
    Append(item, element);
  }
  return Finish(item);
}

}  // namespace

std::vector<Bytes> EncodeItems(Random& random, RandomConfig& config, Mood mood) {
  const int revision = config.revision;
  std::vector<uint8_t> carried;
  if (HasConc(revision) && config.optional_present(98)) carried.push_back(kConcItem);
  if (HasPairs(revision) && config.optional_present(100)) carried.push_back(kLdCpItem);
  if (HasPairs(revision) && config.optional_present(102)) carried.push_back(kPoolCpItem);
  if (config.wait_time()) carried.push_back(kWaitTimeItem);
  if (HasCab(revision) && config.optional_present(104)) carried.push_back(kCabItem);

  std::vector<uint8_t> passed_over = {0, 17, 34, 49, 65, 255};
  if (!HasConc(revision)) passed_over.push_back(kConcItem);
  if (!HasPairs(revision)) passed_over.insert(passed_over.end(), {kLdCpItem, kPoolCpItem});
  if (!HasWaitTime(revision)) passed_over.push_back(kWaitTimeItem);
  if (!HasCab(revision)) passed_over.push_back(kCabItem);

  std::vector<Bytes> items;
  for (const uint8_t type : carried) {
    const int times = random.Percent(70) ? 1 : random.Range(0, 2);
    for (int i = 0; i < times; ++i) {
      switch (type) {
        case kConcItem:
          items.push_back(
              PoolItem(random, type, mood, config.conc, config.optional_count(98), true));
          break;
        case kLdCpItem:
          items.push_back(PoolItem(random, type, mood, config.ld_cp, config.optional_count(100),
                                   revision == 0x1B));
          break;
        case kPoolCpItem:
          items.push_back(PoolItem(random, type, mood, config.pool_cp, config.optional_count(102),
                                   revision == 0x1B));
          break;
        case kWaitTimeItem:
          items.push_back(WaitTimeItem(random, config, mood));
          break;
        default:
          items.push_back(
              PoolItem(random, type, mood, config.cab, config.optional_count(104), false));
          break;
      }
    }
  }
  if (random.Percent(20)) {
    items.push_back(UnknownItem(random, passed_over[random.Below(passed_over.size())]));
  }
  if (random.Percent(30)) random.Shuffle(items);
  return items;
}

}  // namespace model
