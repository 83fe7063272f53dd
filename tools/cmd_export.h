// `psltool export`: rows of logs and archives for databases, spreadsheets and time-series engines.
#pragma once

#include <CLI/CLI.hpp>

void AddExportCommand(CLI::App& app, int& status);
