// A comparison as a page to open from disk, of the same design as report pages: one file without
// scripts, which asks for nothing else.
#pragma once

#include "tools/measures/compare_report.h"
#include "tools/output/text_out.h"

namespace psltool {

void PutComparisonPage(const CompareView& view, const Comparison& comparison, TextOut& out);

}  // namespace psltool
