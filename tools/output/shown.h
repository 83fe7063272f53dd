// Bytes of names and logs as people may see them.
#pragma once

#include <string>
#include <string_view>

namespace psltool {

// Text that may hold bytes of names and logs, for people to read: control characters become "\x1b",
// so that no file takes over the terminal that it is shown on. What is not ASCII stays.
std::string Shown(std::string_view text);
// The same of lines of our own: line breaks and tabs stay.
std::string ShownLines(std::string_view text);

}  // namespace psltool
