// Explains stored numbers of an archive. What they add up to is what the audit computes.
#pragma once

#include <cstdint>
#include <string>

#include "tools/audit/explained.h"
#include "tools/audit/output_choice.h"
#include "tools/output/progress.h"
#include "tools/reading/time_text.h"

namespace psltool {

struct ExplainRequest : ArchiveInputs {
  RunKind run = RunKind::kManual;
  Kind kind = kLd;
  std::string key = {};
  TimeSpan at = {0, 0};      // explained is the first record whose period lies in it, else the one
                             // whose period it begins in
  Zone zone = Zone::kLocal;  // of times in messages
};

enum class ExplainEnd : uint8_t {
  kDone,
  kFailed,      // reported: the archive or inputs do not hold what is asked for, or are broken
  kUnreadable,  // reported
  kRefused,     // reported: the file cannot hold what is asked for
};

ExplainEnd Explain(const ExplainRequest& request, Explanation& explanation, Progress& progress);

}  // namespace psltool
