// Optional items of one revision: a structure record with room for them, statistics records that
// hold some, and what a period writes of them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/record_builder.h"
#include "tests/support/revision_facts.h"
#include "tests/support/revision_run.h"

namespace revtest {

inline constexpr unsigned kConcType = 16;
inline constexpr unsigned kLdCpType = 32;
inline constexpr unsigned kWaitType = 33;
inline constexpr unsigned kPoolCpType = 48;
inline constexpr unsigned kCabType = 64;

// A file with room for `n` elements of each kind and n logical disks.
inline void Configure(RevisionRun& run, int revision, unsigned n) {
  StructureBuilder structure(revision);
  structure.basic.U16(98, 0x8000 | n).U16(100, 0x8000 | n).U16(102, 0x8000 | n);
  structure.basic.U16(104, 0x8000 | n).U8(97, 0x20);
  for (unsigned i = 0; i < n; ++i) structure.Add(kLd, {{0, static_cast<uint8_t>(i + 1)}});
  run.Feed(structure.Build());
  run.Output();
}

inline Bytes Record(int revision, const std::vector<Bytes>& items, unsigned disks,
                    uint32_t time = 1000) {
  StatisticsBuilder record(revision);
  record.time = time;
  if (disks > 0) record.Announce(kLd, disks);
  for (const Bytes& item : items) record.Item(item);
  return record.Build();
}

inline Bytes Conc(unsigned number, unsigned present, unsigned seed = 0) {
  return Bytes(16).Pattern(0, 16, seed).U16(0, number).U8(12, present);
}
inline Bytes Wait(unsigned disk, uint32_t q0, uint32_t q1, uint32_t q2, uint32_t q3) {
  return Bytes(32).U16(0, disk).Quad(16, q0, q1, q2, q3);
}
inline Bytes Cab(unsigned key, unsigned number, uint32_t value, unsigned seed = 0) {
  return Bytes(16).Pattern(0, 16, seed).U8(0, key).U16(2, number).U32(8, value);
}

class Items : public ::testing::TestWithParam<int> {
 protected:
  int revision = GetParam();
  RevisionRun run{GetParam()};

  void Take(const std::vector<Bytes>& items, unsigned disks = 2) {
    run.Feed(Record(revision, items, disks));
  }
  // The period's items of one type.
  std::vector<Bytes> Written(unsigned type) {
    std::vector<Bytes> found;
    for (const Bytes& item : ItemsOf(run.Period())) {
      if (item.Get8(12) == type) found.push_back(item);
    }
    return found;
  }
};

inline std::string ItemsName(const ::testing::TestParamInfo<int>& test) {
  return RevisionName(test.param);
}

}  // namespace revtest
