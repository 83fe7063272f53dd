// A table as lines of text that fit a terminal.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace psltool {

using TableRow = std::vector<std::string>;

// The first row is the head, an underline follows it. Cells that are too long go on in the next
// line. Nothing where even that does not fit.
std::optional<std::vector<std::string>> TableLines(const std::vector<TableRow>& rows);

}  // namespace psltool
