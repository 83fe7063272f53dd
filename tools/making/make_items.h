// Optional items of made-up statistics records: concurrent copies, copy pairs, wait times,
// cabinets.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tools/making/make_array.h"
#include "tools/making/make_load.h"
#include "tools/making/make_plan.h"
#include "tools/making/make_random.h"

namespace psltool {

// Bytes that the items of a record need at most.
size_t LargestItems(const MakePlan& plan);

// Puts the items and adds their number to `items`; returns the first byte behind them.
uint8_t* PutItems(uint8_t* out, const MakePlan& plan, const ArrayModel& model,
                  const Interval& interval, Random& random, uint32_t& items);

}  // namespace psltool
