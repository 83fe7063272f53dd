// Rows that an export of a file should hold by the second calculation.
#pragma once

#include <string>
#include <vector>

#include "tests/support/tools/export_rows.h"

// Those of each entry, in the order of the file; times in UTC.
std::vector<std::vector<TidyRow>> FigureRowsByEntry(const std::string& path);
std::vector<TidyRow> FigureRows(const std::string& path);
