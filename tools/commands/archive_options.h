// What audit and explain have in common: options that say how the archive was made, and in what
// form the answer is given.
#pragma once

#include <string>

#include "tools/audit/output_choice.h"
#include "tools/commands/command_line.h"
#include "tools/reading/time_text.h"

namespace psltool {

// The argument "inputs": files, or directories of them.
Option* AddInputsArgument(Command& command, ArchiveInputs& made);
// --noperiod, --any-name, --whole-run.
void AddMakingOptions(Command& command, ArchiveInputs& made);

struct AnswerOptions {
  bool json = false;
  std::string labels;
  bool utc = false;

  Zone zone() const { return utc ? Zone::kUtc : Zone::kLocal; }
};
// --json, --labels, --utc.
void AddAnswerOptions(Command& command, AnswerOptions& answer);

}  // namespace psltool
