// The inputs of a planned archive run: sorted and checked by the archiver's own functions, and what
// the plan knows of each.
#pragma once

#include <string>
#include <vector>

#include "tools/running/plan.h"
#include "tools/running/plan_outputs.h"

namespace psltool {

struct CheckedInputs {
  std::vector<PlannedInput> accepted;  // in the order of the run
  std::vector<PlanFile> dropped;       // by the check of the headers
  std::vector<std::string> unopened;   // of these, what did not open
  bool unread = false;                 // the header of one could not be read: the run would end
};

// `targets`: names as selected; `level`: of the outputs. Files that the run itself makes are taken
// from the view. What is dropped is noted as left without its archive, as a run does.
CheckedInputs CheckPlannedInputs(const std::vector<std::string>& targets, char level,
                                 const PlanRequest& request, ArchiveView& view);

// "20240304a.psl", "archive/20240304a.psa".
std::string PlanPath(const std::string& name);

}  // namespace psltool
