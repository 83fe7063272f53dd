// Statistics records of made-up arrays: one interval of all resources.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "areas/kinds.h"
#include "tools/making/make_array.h"
#include "tools/making/make_plan.h"

namespace psltool {

// Item bitmaps of a file of a plan whose entries carry these words.
std::array<uint32_t, kSectionKinds> ItemMasksOf(const MakePlan& plan, Extended words);

// Builds the whole record into `record`; returns its length (the vector may be longer: it is kept
// at the largest size so that it is not cleared for each record).
size_t BuildStatistics(const MakePlan& plan, const ArrayModel& model, const Interval& interval,
                       std::vector<uint8_t>& record);

}  // namespace psltool
