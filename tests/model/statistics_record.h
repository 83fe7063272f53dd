// Statistics ("STA") records in the slow model: checking and folding a record, and writing the
// record of a period.
//
// Independent of revisions/statistics.cc: checks, folding and writing of a record stand here a
// second time.

#ifndef TESTS_MODEL_STATISTICS_RECORD_H_
#define TESTS_MODEL_STATISTICS_RECORD_H_

#include "tests/model/archive_state.h"
#include "tests/model/bytes.h"

namespace model {

/// Checks a record's section headers against the structure and remembers their first fields;
/// throws BrokenRecord.
void CheckStatistics(ArchiveState& state, const Bytes& record);

/// Folds every entry and item of a checked record into the period.
void FoldStatistics(ArchiveState& state, const Bytes& record);

/// The record of the period in progress, laid out as revision `layout`; the period is cleared.
Bytes WriteStatistics(ArchiveState& state, int layout);

}  // namespace model

#endif  // TESTS_MODEL_STATISTICS_RECORD_H_
