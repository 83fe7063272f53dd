// Which handlers serve the records of a revision.
#include <gtest/gtest.h>

#include <cstdint>

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

namespace {

TEST(Dispatch, EachRevisionHasTheHandlersOfItsFamily) {
  const auto expect = [](int from, int to, auto structure, auto statistics, auto before_ldm,
                         auto at_end) {
    for (int revision = from; revision <= to; ++revision) {
      const Dispatch& row = DispatchOf(static_cast<uint8_t>(revision));
      EXPECT_EQ(row.read_structure, +structure) << revision;
      EXPECT_EQ(row.read_statistics, +statistics) << revision;
      EXPECT_EQ(row.flush_before_ldm, +before_ldm) << revision;
      EXPECT_EQ(row.flush_at_end, +at_end) << revision;
    }
  };
  expect(0x00, 0x10, ReadStrRec_0x10, ReadStaRec_0x10, WriteStaRec_0x11, WriteStaRec_0x10);
  expect(0x11, 0x11, ReadStrRec_0x11, ReadStaRec_0x11, WriteStaRec_0x11, WriteStaRec_0x11);
  expect(0x12, 0x12, ReadStrRec_0x12, ReadStaRec_0x12, WriteStaRec_0x12, WriteStaRec_0x12);
  expect(0x13, 0x13, ReadStrRec_0x13, ReadStaRec_0x13, WriteStaRec_0x13, WriteStaRec_0x13);
  expect(0x14, 0x18, ReadStrRec_0x14, ReadStaRec_0x14, WriteStaRec_0x14, WriteStaRec_0x14);
  expect(0x19, 0x19, ReadStrRec_0x19, ReadStaRec_0x19, WriteStaRec_0x19, WriteStaRec_0x19);
  expect(0x1A, 0x1A, ReadStrRec_0x1A, ReadStaRec_0x1A, WriteStaRec_0x1A, WriteStaRec_0x1A);
  expect(0x1B, 0x1C, ReadStrRec_0x1B, ReadStaRec_0x1B, WriteStaRec_0x1B, WriteStaRec_0x1B);
  expect(0x1D, 0xFF, ReadStrConRec_0x1D, ReadStaRec_0x1D, WriteStaRec_0x1D, WriteStaRec_0x1D);
}

}  // namespace
