// psltool as a program that has commands.
#pragma once

#include "tools/commands/command_line.h"

namespace psltool {

// With all rows of Commands().
const Program& PsltoolProgram();

}  // namespace psltool
