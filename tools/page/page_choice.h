// What a page keeps of resources, given how many bytes it may have: the measures and steps by which
// all of them are ranked over parts of the span, and those that are told in full.
#pragma once

#include "tools/page/page_data.h"
#include "tools/reading/civil_time.h"

namespace psltool {

// Kinds with more resources than these are ranked over parts of the span by the first counter group
// and by what is said of the entry as a whole.
inline constexpr size_t kSomeResources = 1024;
// Kinds with more than these keep even sums over the whole span of nothing else.
inline constexpr size_t kManyResources = 8192;
// Of each kind and array at most these are told in full.
inline constexpr size_t kMostInFull = 1000;

struct PageLimits {
  size_t rank_bytes = 0;    // of what ranks resources, before it is packed
  size_t detail_bytes = 0;  // of the numbers of resources told in full, in memory
};

// The sums of all resources are known. Lays out grids and cells, chooses `told_in_full`, those that
// matter most first, and makes room for their numbers.
void ChooseContent(const PageLimits& limits, Zone zone, PageData& page);

}  // namespace psltool
