// The nineteen resource kinds of a disk array, in the order in which headers keep their item masks
// and statistics records their sections.
#pragma once

#include <cstdint>

enum Kind : uint8_t {
  kHd,
  kRd,
  kDd,
  kHp,
  kHpNode,
  kRp,
  kMp,
  kDp,
  kCache,
  kCheseg,
  kLd,
  kPd,
  kRank,
  kPool,
  kSectionKinds,  // the kinds above have a section of their own in statistics records
  kConc = kSectionKinds,
  kLdCp,
  kPoolCp,
  kWaittm,
  kCab,
  kKinds,
  kNoKind = 0xFF,  // lists that are carried through without being interpreted
};
