// `psltool info`: what a file is and holds, at a glance.
#pragma once

#include <CLI/CLI.hpp>

// Adds the command; when it runs it stores its exit status in `status`.
void AddInfoCommand(CLI::App& app, int& status);
