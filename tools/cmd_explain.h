// `psltool explain`: how one stored number of an archive came about.
#pragma once

#include <CLI/CLI.hpp>

// Adds the command; when it runs it stores its exit status in `status`.
void AddExplainCommand(CLI::App& app, int& status);
