// `psltool top`: the busiest resources over a span of time.
#pragma once

#include <CLI/CLI.hpp>

void AddTopCommand(CLI::App& app, int& status);
