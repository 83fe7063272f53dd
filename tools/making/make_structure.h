// Structure records of made-up arrays.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/making/make_array.h"
#include "tools/making/make_plan.h"

namespace psltool {

// Builds the whole record into `record`. `continued`: the configuration is that of the file before.
void BuildStructure(const MakePlan& plan, const ArrayModel& model, uint32_t stamp, bool continued,
                    std::vector<uint8_t>& record);

// Entries of the lists that no resource kind stands behind.
inline constexpr uint32_t kOtherEntries = 4;

}  // namespace psltool
