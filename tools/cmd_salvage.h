// `psltool salvage`: gets the sound records out of a damaged file.
#pragma once

#include <CLI/CLI.hpp>

// Adds the command; when it runs it stores its exit status in `status`.
void AddSalvageCommand(CLI::App& app, int& status);
