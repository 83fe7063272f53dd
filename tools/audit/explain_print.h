// Explanations as text for people and as JSON for programs.
#pragma once

#include <string>

#include "tools/audit/explained.h"
#include "tools/output/text_out.h"
#include "tools/reading/labels.h"
#include "tools/reading/time_text.h"

namespace psltool {

struct ExplainView {
  std::string archive;
  std::string what;   // "ld 42"
  std::string field;  // empty: the main fields
  bool all = false;   // all fields of all groups
  size_t group = 1;   // counter group shown
  Zone zone = Zone::kLocal;
  Labels labels = {};
  std::string kind = {};  // of the resource, and its name, "" without one
  std::string name = {};
};

// False: there is no such field or group, reported.
bool PrintExplanation(const ExplainView& view, const Explanation& explanation, TextOut& out);
bool PrintExplanationJson(const ExplainView& view, const Explanation& explanation, TextOut& out);

}  // namespace psltool
