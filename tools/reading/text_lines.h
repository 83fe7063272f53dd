// Files of lines that people write, such as labels and rules.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace psltool {

// Hands over each line with its number, from 1; `take` answers why it cannot be, or nothing. False:
// the file cannot be read, or a line cannot be, which is reported as of "path:number".
bool EachLine(const std::string& path,
              const std::function<std::string(const std::string& line, size_t number)>& take);

}  // namespace psltool
