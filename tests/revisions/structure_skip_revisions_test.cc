// Day archives whose inputs change their revision: what a structure record is compared with when it
// is asked whether it can be passed over.
#include <gtest/gtest.h>

#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {
namespace {

// Every list with as many entries.
StructureBuilder Full(int revision, unsigned entries) {
  StructureBuilder structure(revision);
  structure.continuation = 1;
  for (const ListFacts& list : ListsOf(revision)) {
    const size_t size = list.entry == kFromDescriptor ? 56 : static_cast<size_t>(list.entry);
    if (list.entry == kFromDescriptor) structure.first[list.slot] = 56;
    for (unsigned key = 1; key <= entries; ++key) {
      Bytes entry(size);
      entry.U8(0, key).U8(1, key);
      if (list.length_at >= 0) entry.U32(static_cast<size_t>(list.length_at), size);
      if (list.slot == 112 || list.length_at == 0) entry.U8(4, key).U8(5, key);
      structure.AddTo(list.slot, entry);
    }
  }
  return structure;
}

// A record of the newest revision was held; then one with other counts broke, and was not.
void LeaveCountsOfTheNewest() {
  constexpr int kNewest = 0x21;
  RevisionRun run(kNewest, 'H', 'D');
  run.Automatic();
  run.Feed(Full(kNewest, 1).Build());
  run.NextInput(true);
  Bytes broken = Full(kNewest, 2).Build();
  broken.U32(24 + 4, 0xFFFFFFF0);  // the list leaves the record
  broken.U8(12, 0);                // and would have been read
  EXPECT_TRUE(run.Breaks(broken));
}

// One comparison too many went to a list of another revision.
TEST(SkipOfRevisions, ListsThatTheRevisionLacksAreNotCompared) {
  for (const int revision : AllRevisions()) {
    SCOPED_TRACE(revision);
    LeaveCountsOfTheNewest();
    RevisionRun run(revision, 'H', 'D');
    run.Feed(Full(revision, 1).Build());
    run.NextInput(true);
    run.Output();
    run.Feed(Full(revision, 1).Build());
    EXPECT_TRUE(run.Output().empty());
  }
}

}  // namespace
}  // namespace revtest
