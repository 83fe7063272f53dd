// Resources of an array: see the header.
#include "tools/making/make_array.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

#include "engine/layout/layout.h"
#include "tools/making/make_random.h"

namespace psltool {

namespace {

constexpr double kRatePerLd = 40;   // operations per second at full load, on the average
constexpr double kHotShare = 0.15;  // of the array's operations
constexpr double kHotUsage = 0.70;  // of the hot disk's time at full load

// What the kinds do with an operation that a host asks of the array.
struct KindTraits {
  double reach;     // operations of the kind for each of the array's
  double service;   // microseconds
  double size;      // bytes
  uint32_t group;   // resources that share the first key byte, when there are few enough of them
  uint32_t office;  // percent that are idle at night
  uint32_t batch;   // percent that are idle by day
};

constexpr std::array<KindTraits, kSectionKinds> kTraits = {{
    {1.0, 60, 16384, 1, 0, 0},      // Hd
    {1.0, 60, 16384, 1, 0, 0},      // Rd
    {1.0, 60, 16384, 1, 0, 0},      // Dd
    {1.0, 220, 16384, 4, 0, 0},     // Hp
    {1.0, 220, 16384, 8, 0, 0},     // HpNode
    {0.2, 900, 32768, 2, 0, 50},    // Rp: replication runs at night
    {0.2, 900, 32768, 2, 0, 50},    // Mp
    {0.6, 400, 32768, 2, 0, 0},     // Dp
    {1.0, 40, 16384, 1, 0, 0},      // Cache
    {1.0, 40, 16384, 1, 25, 0},     // Cheseg
    {1.0, 600, 16384, 1, 40, 20},   // Ld
    {0.6, 4000, 32768, 24, 0, 0},   // Pd: each group has a spare
    {0.6, 3000, 32768, 16, 20, 0},  // Rank
    {0.6, 2500, 32768, 1, 0, 0},    // Pool
}};

std::array<uint8_t, 3> KeyAt(const KeyBytes& key, uint8_t in_use, uint32_t group, uint32_t count,
                             uint32_t i) {
  const auto byte = [](uint32_t value) { return static_cast<uint8_t>(value & 0xFF); };
  if (in_use == 1) return {byte(i)};
  if (key.number) return {byte(i >> 8), byte(i)};
  if (in_use == 3) {  // a port (two bytes) and a node of it
    const uint32_t port = i / group;
    return {byte(port >> 8), byte(port), byte(i % group)};
  }
  if (group == 1 || count > 256 * group) group = 256;
  return {byte(i / group), byte(i % group)};
}

Group GroupOf(Kind kind, const KindTraits& traits, uint32_t i, uint32_t chance) {
  if (kind == kPd && i % traits.group == traits.group - 1) return Group::kSpare;
  if (chance < traits.office) return Group::kOffice;
  if (chance < traits.office + traits.batch) return Group::kBatch;
  return Group::kAlways;
}

// A few resources do most of the work, many do little.
double Weight(uint64_t word) {
  const double draw = FractionOf(word, 0);
  return 0.05 + draw * draw * draw;
}

// Numbers the resources in an order that only the seed knows.
void NumberAnyHow(std::vector<Resource>& all, uint64_t seed, uint32_t Resource::*place) {
  std::vector<uint32_t> order(all.size());
  std::iota(order.begin(), order.end(), 0U);
  std::sort(order.begin(), order.end(), [seed](uint32_t a, uint32_t b) {
    return std::pair(Mix(seed, a), a) < std::pair(Mix(seed, b), b);
  });
  for (uint32_t i = 0; i < order.size(); ++i) all[order[i]].*place = i;
}

void MakeHot(std::vector<Resource>& disks, size_t position) {
  if (position >= disks.size()) return;
  Resource& disk = disks[position];
  double others = 0;
  for (const Resource& each : disks) others += each.full_rate;
  others -= disk.full_rate;
  disk.hot = true;
  disk.group = Group::kAlways;
  if (disks.size() > 1) disk.full_rate = others * (kHotShare / (1 - kHotShare));
  disk.service = kHotUsage * 1000000 / disk.full_rate;
}

}  // namespace

uint8_t KeyCountOf(const MakePlan& plan, Kind kind) {
  const SectionRow* const section = FindRow(LayoutOf(plan.revision).Sections(), kind);
  if (section == nullptr) return 0;
  if (kind == kCheseg && !HasSecondChesegKey(plan)) return 1;
  return kForms[section->form].key.count;
}

ArrayModel MakeArray(const MakePlan& plan, size_t position) {
  ArrayModel model;
  model.name = plan.arrays[position];
  model.seed = Mix(plan.seed, position);
  const double array_rate = kRatePerLd * std::max(plan.counts[kLd], uint32_t{16});
  for (uint8_t k = 0; k < kSectionKinds; ++k) {
    const auto kind = static_cast<Kind>(k);
    const uint32_t count = plan.counts[kind];
    if (count == 0) continue;
    const KindTraits& traits = kTraits[kind];
    const Form& form = kForms[FindRow(LayoutOf(plan.revision).Sections(), kind)->form];
    Random random(Mix(model.seed, 0x4B000000U + k));
    std::vector<Resource>& all = model.resources[kind];
    double weights = 0;
    for (uint32_t i = 0; i < count; ++i) {
      Resource resource = {};
      resource.key = KeyAt(form.key, KeyCountOf(plan, kind), traits.group, count, i);
      resource.group = GroupOf(kind, traits, i, random.Below(100));
      resource.mark = random.OneIn(4);
      resource.full_rate = kind == kLd ? Weight(random.Next()) : 0.7 + 0.6 * random.Fraction();
      resource.service = traits.service * (0.8 + 0.4 * random.Fraction());
      resource.size = traits.size * (0.5 + random.Fraction());
      resource.carried = {random.Below(1U << 20), random.Below(1U << 20)};
      weights += resource.full_rate;
      all.push_back(resource);
    }
    for (Resource& resource : all) resource.full_rate *= array_rate * traits.reach / weights;
    NumberAnyHow(all, Mix(model.seed, 0x49000000U + k), &Resource::idle_place);
    NumberAnyHow(all, Mix(model.seed, 0x4E000000U + k), &Resource::not_valid_place);
  }
  MakeHot(model.resources[kLd], plan.hot_ld);
  return model;
}

}  // namespace psltool
