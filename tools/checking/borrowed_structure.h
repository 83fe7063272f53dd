// The structure record of another day, in the place of one that is lost.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/output/progress.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

struct BorrowedStructure {
  std::vector<uint8_t> record;  // empty: none was asked for
  std::string place;            // "20240303array01.psl, record 1": in reports
};

// Takes the structure record of the file at `path` that is nearest in time to the damaged file: the
// last sound one of an earlier file, the first one of a later. False: there is none, or the file is
// of another revision or level; reported.
bool BorrowStructure(const std::string& path, const PslReader& damaged, Progress& progress,
                     BorrowedStructure& structure);

}  // namespace psltool
