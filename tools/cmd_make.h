// `psltool make`: logs of arrays that do not exist, for trying things out and for tests.
#pragma once

#include <CLI/CLI.hpp>

// Adds the command; when it runs it stores its exit status in `status`.
void AddMakeCommand(CLI::App& app, int& status);
