// Random but valid performance logs: several arrays, days and files, every revision, every form of
// entry, structure change and optional item, all from one seed. On demand some are broken.

#ifndef TESTS_MODEL_RANDOM_LOGS_H_
#define TESTS_MODEL_RANDOM_LOGS_H_

#include <cstdint>
#include <vector>

#include "tests/model/slow_archiver.h"

namespace model {

struct CaseOptions {
  bool mixed_revisions = false;  // files of several revisions for one array and day
  bool large = false;            // dozens of resources of every kind, dozens of records
  bool faults = false;           // some files end in a record that breaks the run
};

/// The logs of one case, in an order that is not sorted. File names carry the date that the stamps
/// have in the zone of the environment's `TZ` (revisions below 0x1D) or in UTC (from 0x1D on).
std::vector<InputFile> MakeRandomLogs(uint64_t seed, uint8_t revision, const CaseOptions& options);

}  // namespace model

#endif  // TESTS_MODEL_RANDOM_LOGS_H_
