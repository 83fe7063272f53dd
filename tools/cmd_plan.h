// `psltool plan`: what the next automatic run would archive, skip and remove.
#pragma once

#include <CLI/CLI.hpp>

// `status` becomes the program's exit status when the command runs.
void AddPlanCommand(CLI::App& app, int& status);
