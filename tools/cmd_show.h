// `psltool show`: the history of one resource as a table with bars.
#pragma once

#include <CLI/CLI.hpp>

// Adds the command; when it runs it stores its exit status in `status`.
void AddShowCommand(CLI::App& app, int& status);
