// Kind names: see the header.
#include "tools/reading/kind_names.h"

#include <algorithm>
#include <array>

#include "engine/layout/layout.h"

namespace psltool {

namespace {

// One-byte keys allow 256 resources; a count of an optional kind has 15 bits.
constexpr auto kNames = std::to_array<KindName>({
    {kHd, "hd", "Hd resources", 256, 2},
    {kRd, "rd", "Rd resources", 256, 2},
    {kDd, "dd", "Dd resources", 256, 2},
    {kHp, "hp", "host ports", 65535, 8},
    {kHpNode, "hpnode", "host port nodes", 65535, 4},
    {kRp, "rp", "remote ports", 65535, 4},
    {kMp, "mp", "multi ports", 65535, 4},
    {kDp, "dp", "disk ports", 65535, 8},
    {kCache, "cache", "cache modules", 256, 2},
    {kCheseg, "cheseg", "cache segments (more than 256 need a second key byte)", 65535, 4},
    {kLd, "ld", "logical disks", 65535, 64},
    {kPd, "pd", "physical disks", 65535, 96},
    {kRank, "rank", "ranks", 65535, 12},
    {kPool, "pool", "pools", 65535, 4},
    {kConc, "conc", "concurrent copies", 32767, 4},
    {kLdCp, "ld-cp", "logical disk copy pairs", 32767, 8},
    {kPoolCp, "pool-cp", "pool copy pairs", 32767, 2},
    {kCab, "cab", "cabinets", 32767, 2},
});

}  // namespace

std::span<const KindName> KindNames() { return kNames; }

const KindName& NameOf(Kind kind) {
  return *std::find_if(kNames.begin(), kNames.end(),
                       [kind](const KindName& name) { return name.kind == kind; });
}

std::optional<Kind> KindOf(std::string_view word) {
  for (const KindName& name : kNames) {
    if (word == name.word) return name.kind;
  }
  return std::nullopt;
}

bool HasKind(uint8_t revision, Kind kind) {
  if (FindRow(LayoutOf(revision).Sections(), kind) != nullptr) return true;
  return std::any_of(std::begin(kItemRows), std::end(kItemRows), [=](const ItemRow& row) {
    return row.kind == kind && row.span.Holds(revision);
  });
}

}  // namespace psltool
