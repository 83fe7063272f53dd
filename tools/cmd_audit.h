// `psltool audit`: proves that archives hold what their inputs held.
#pragma once

#include <CLI/CLI.hpp>

// Adds the command; when it runs it stores its exit status in `status`.
void AddAuditCommand(CLI::App& app, int& status);
