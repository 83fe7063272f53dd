// Breaches as lines for people, as JSON, and as an exposition for a collector of text files.
#pragma once

#include <string>
#include <vector>

#include "tools/measures/limits.h"
#include "tools/output/text_out.h"

namespace psltool {

struct LimitView {
  std::string path;  // of the rules
  const std::vector<LimitRule>& rules;
  const LimitCheck& check;
  const SeriesReader& reader;
  const Labels& labels;
  Zone zone;
};

void PrintBreaches(const LimitView& view, const std::vector<Breach>& breaches, TextOut& out);
void PrintBreachesJson(const LimitView& view, const std::vector<Breach>& breaches, TextOut& out);
// One sample for each rule and array, and one for each resource that passed a limit; without
// stamps, as such collectors want it.
void PrintBreachMetrics(const LimitView& view, const std::vector<Breach>& breaches, TextOut& out);

// "3 h", "1 d 2 h", "45 min", "30 s".
std::string LengthText(uint32_t seconds);

}  // namespace psltool
