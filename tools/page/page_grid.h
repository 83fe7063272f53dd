// Cuts a span of time into steps, so that a page can rank resources over any part of it without
// holding a number for every record of each.
#pragma once

#include <vector>

#include "tools/page/page_data.h"
#include "tools/reading/civil_time.h"

namespace psltool {

// The finest steps of which there are not more than `most`: the intervals themselves, parts of a
// day of 1 to 12 hours by the clock, days, or some days. Empty: not even
// two steps fit.
PageGrid MakeGrid(const std::vector<PageInterval>& intervals, size_t most, Zone zone);

}  // namespace psltool
