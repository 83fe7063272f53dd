// `psltool check`: proves that files are what the archiver takes, or tells where they are not.
#pragma once

#include <CLI/CLI.hpp>

// Adds the command; when it runs it stores its exit status in `status`.
void AddCheckCommand(CLI::App& app, int& status);
