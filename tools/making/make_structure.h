// Structure records of made-up arrays.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/making/make_array.h"
#include "tools/making/make_plan.h"

namespace psltool {

// Builds the whole record into `record`. `continued`: the configuration is that of the file before.
void BuildStructure(const MakePlan& plan, const ArrayModel& model, uint32_t stamp, bool continued,
                    std::vector<uint8_t>& record);

// Writes a list's descriptor, or a section's header: `first` of a descriptor is the entry size.
void PutDescriptor(uint8_t* at, uint16_t first, uint32_t count, size_t offset);

// Entries of the lists that no resource kind stands behind.
inline constexpr uint32_t kOtherEntries = 4;

}  // namespace psltool
