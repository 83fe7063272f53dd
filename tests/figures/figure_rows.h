// Rows that an export of a file should hold by the second calculation.
#pragma once

#include <string>
#include <vector>

#include "tests/support/tools/export_rows.h"

// The array of "20240304array01#002.psl": what stands between the digits and "#" or ".".
std::string ArrayOf(const std::string& path);

// Those of each entry, in the order of the file; times in UTC.
std::vector<std::vector<TidyRow>> FigureRowsByEntry(const std::string& path);
std::vector<TidyRow> FigureRows(const std::string& path);
