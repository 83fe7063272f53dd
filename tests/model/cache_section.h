// The cache section of a statistics record in the slow model (revisions 0x19 to 0x21).
//
// Independent of revisions/fold/cache.cc: both halves of the cache rule stand here a second time.

#ifndef TESTS_MODEL_CACHE_SECTION_H_
#define TESTS_MODEL_CACHE_SECTION_H_

#include "tests/model/archive_state.h"
#include "tests/model/bytes.h"

namespace model {

/// Folds one entry, padded with zeros to 128 bytes, that stands at `position` in its section.
void FoldCache(ArchiveState& state, const KindRule& rule, const Bytes& entry, std::size_t position);

/// The output entry of a cache, of the revision's size.
Bytes CacheOut(int revision, const CacheSlot& slot);

}  // namespace model

#endif  // TESTS_MODEL_CACHE_SECTION_H_
