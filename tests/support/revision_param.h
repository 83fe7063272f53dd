// Tests that run once for each revision: which there are, and names.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/support/revisions.h"

// All of them, for INSTANTIATE_TEST_SUITE_P.
inline auto EachRevision() { return testing::Range(kOldestRevision, kNewestRevision + 1); }

// "Revision0x1D"; for INSTANTIATE_TEST_SUITE_P.
template <class Number>
std::string RevisionParam(const testing::TestParamInfo<Number>& revision) {
  char name[16];
  std::snprintf(name, sizeof name, "Revision0x%02X", static_cast<unsigned>(revision.param));
  return name;
}
