// Rows of numbers as a line of small bars.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace psltool {

// One character per cell, scaled to the largest; blank where nothing is known.
std::string Sparkline(const std::vector<std::optional<double>>& cells, bool ascii);

// True when the locale of the environment writes UTF-8.
bool LocaleIsUtf8();

}  // namespace psltool
