// Bytes of names and logs as people may see them: no file takes over the terminal that it is shown
// on.
#pragma once

#include <string>
#include <string_view>

namespace psltool {

// Of messages: control characters become "\x1b". What is not ASCII stays, also where it is no
// UTF-8.
std::string Shown(std::string_view text);
// The same of lines of our own: line breaks and tabs stay.
std::string ShownLines(std::string_view text);
// Of listings: control characters, and bytes that are no part of UTF-8, become "\x1B".
std::string ShownText(std::string_view text);

}  // namespace psltool
