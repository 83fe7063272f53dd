// Texts as metrics for monitoring carry them.
#pragma once

#include <string>

namespace psltool {

// A text between the quotes of a label: UTF-8, with backslash, quote and newline escaped.
std::string MetricsLabel(const std::string& text);

}  // namespace psltool
