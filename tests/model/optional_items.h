// Optional items of a statistics record in the slow model: Conc, LD_CP, POOL_CP, wait time, Cab.
//
// Independent of revisions/items.cc: slots, order and what outlives a period stand here a second
// time.

#ifndef TESTS_MODEL_OPTIONAL_ITEMS_H_
#define TESTS_MODEL_OPTIONAL_ITEMS_H_

#include <vector>

#include "tests/model/archive_state.h"
#include "tests/model/bytes.h"

namespace model {

enum : uint8_t {
  kConcItem = 16,
  kLdCpItem = 32,
  kWaitTimeItem = 33,
  kPoolCpItem = 48,
  kCabItem = 64
};

/// Takes one whole item, head included; kinds that the revision lacks are passed over.
void TakeItem(ArchiveState& state, const Bytes& item);

/// The items of the period in the order in which they are written.
std::vector<Bytes> ItemsOut(const ArchiveState& state);

/// What the end of a period leaves of the blocks.
void ClearItems(ArchiveState& state);

}  // namespace model

#endif  // TESTS_MODEL_OPTIONAL_ITEMS_H_
