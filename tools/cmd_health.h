// `psltool health`: whether the last night of automatic archiving went well. The archiver ends with
// status 0 after failures that it reported, so monitoring needs this.
#pragma once

#include <CLI/CLI.hpp>

// Adds the command; when it runs it stores its exit status in `status`.
void AddHealthCommand(CLI::App& app, int& status);
