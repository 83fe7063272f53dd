// `psltool segment`: makes, shows and removes the configuration segment of the monitor's daemon, so
// that automatic archiving works without the daemon.
#pragma once

#include <CLI/CLI.hpp>

// Adds the command; when it runs it stores its exit status in `status`.
void AddSegmentCommand(CLI::App& app, int& status);
