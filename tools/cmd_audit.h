// `psltool audit`: proves that archives hold what their inputs held.
#pragma once

#include <CLI/CLI.hpp>

void AddAuditCommand(CLI::App& app, int& status);
