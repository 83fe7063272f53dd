// The dispatch rows of the record stream, and what the driver asks of the revision code as a whole.
#include "engine/family.h"
#include "revisions/Qelprfarc0x10.h"
#include "revisions/Qelprfarc0x11.h"
#include "revisions/Qelprfarc0x12.h"
#include "revisions/Qelprfarc0x13.h"
#include "revisions/Qelprfarc0x14.h"
#include "revisions/Qelprfarc0x19.h"
#include "revisions/Qelprfarc0x1A.h"
#include "revisions/Qelprfarc0x1B.h"
#include "revisions/Qelprfarc0x1D.h"
#include "revisions/fold/fold.h"
#include "revisions/items.h"
#include "revisions/record_buffer.h"
#include "revisions/sets/provide.h"
#include "revisions/sets/slots.h"
#include "revisions/statistics.h"
#include "revisions/structure.h"

namespace {

constexpr Dispatch kDispatch[] = {
    // The "LDM" flush of 0x10 goes through the 0x11 writer, unlike its other flushes; archives made
    // this way exist and are read back (ReadStatistics), so it stays.
    {0x00, 0x10, ReadStrRec_0x10, ReadStaRec_0x10, WriteStaRec_0x11, WriteStaRec_0x10},
    {0x11, 0x11, ReadStrRec_0x11, ReadStaRec_0x11, WriteStaRec_0x11, WriteStaRec_0x11},
    {0x12, 0x12, ReadStrRec_0x12, ReadStaRec_0x12, WriteStaRec_0x12, WriteStaRec_0x12},
    {0x13, 0x13, ReadStrRec_0x13, ReadStaRec_0x13, WriteStaRec_0x13, WriteStaRec_0x13},
    {0x14, 0x18, ReadStrRec_0x14, ReadStaRec_0x14, WriteStaRec_0x14, WriteStaRec_0x14},
    {0x19, 0x19, ReadStrRec_0x19, ReadStaRec_0x19, WriteStaRec_0x19, WriteStaRec_0x19},
    {0x1A, 0x1A, ReadStrRec_0x1A, ReadStaRec_0x1A, WriteStaRec_0x1A, WriteStaRec_0x1A},
    {0x1B, 0x1C, ReadStrRec_0x1B, ReadStaRec_0x1B, WriteStaRec_0x1B, WriteStaRec_0x1B},
    {0x1D, 0xFF, ReadStrConRec_0x1D, ReadStaRec_0x1D, WriteStaRec_0x1D, WriteStaRec_0x1D},
};

constexpr bool CoversAllRevisions() {
  int next = 0;
  for (const Dispatch& row : kDispatch) {
    if (row.from != next || row.to < row.from) return false;
    next = row.to + 1;
  }
  return next == 0x100;
}
static_assert(CoversAllRevisions());

}  // namespace

const Dispatch& DispatchOf(uint8_t revision) {
  const Dispatch* row = kDispatch;
  while (revision > row->to) ++row;
  return *row;
}

void ForgetItemCounts() {
  ForgetConfiguredItems();
  ForgetHeldItemCounts();
}

void ForgetConfiguration() {
  DropSets();
  DropItemBlocks();
}

void FreeResources() {
  ForgetConfiguration();
  FreeBatch();
  FreePeriodRecord();
  FreeRecords();
}
