// Comparisons as a table and as JSON.
#pragma once

#include "tools/measures/compare.h"
#include "tools/output/text_out.h"

namespace psltool {

struct CompareView {
  Zone zone;
  Matching matching;
  double least;
  const Labels& labels;
};

void PrintComparison(const CompareView& view, const Comparison& comparison, TextOut& out);
void PrintComparisonJson(const CompareView& view, const Comparison& comparison, TextOut& out);

// "", "matched by hour", ...
const char* TextOf(Matching matching);

}  // namespace psltool
