// Writing the files of a plan.
#pragma once

#include "tools/making/make_plan.h"

namespace psltool {

// Writes all files and prints a line for each. False: reported; files already complete stay.
bool MakeFiles(const MakePlan& plan);

}  // namespace psltool
