// `psltool dump`: every entry of a file with the names of its fields.
#pragma once

#include <CLI/CLI.hpp>

// Adds the command; when it runs it stores its exit status in `status`.
void AddDumpCommand(CLI::App& app, int& status);
