// What an operator should know of a PML directory before it is pruned: the rules are kept to the
// letter, and in some trees they delete more than anybody meant.
#pragma once

#include <cstdint>
#include <string>

#include "pmonb/pml_work.h"
#include "tools/running/plan.h"

namespace psltool {

// Tasks of the pruning that plan says more about, by their codes.
inline constexpr int8_t kByAge = 3;
inline constexpr int8_t kToLimit = 8;

// Warnings about the choice of one task, `today` being the date of the run (YYMMDD).
void NoteDangers(const PmlWork& work, uint32_t today, Plan& plan);

// Why a name has not the form of a PML file's.
std::string ForeignNameText(const std::string& name);

// Warnings that do not depend on a task: the override in the environment, and the directory.
void NoteSurroundings(Plan& plan);

}  // namespace psltool
