// `psltool units` lists units of archiving work with their commands, `psltool unit` does one.
#pragma once

#include <CLI/CLI.hpp>

// `status` becomes the program's exit status when a command runs.
void AddUnitsCommand(CLI::App& app, int& status);
void AddUnitCommand(CLI::App& app, int& status);
