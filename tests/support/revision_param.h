// Names of tests that run once for each revision.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

// "Revision0x1D"; for INSTANTIATE_TEST_SUITE_P.
template <class Number>
std::string RevisionParam(const testing::TestParamInfo<Number>& revision) {
  char name[16];
  std::snprintf(name, sizeof name, "Revision0x%02X", static_cast<unsigned>(revision.param));
  return name;
}
