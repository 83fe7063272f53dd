// `psltool seal`: keeps the digests of a directory's archives in SHA256SUMS.
#pragma once

#include <CLI/CLI.hpp>

void AddSealCommand(CLI::App& app, int& status);
