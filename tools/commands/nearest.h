// What somebody may have meant: the word of a list that is nearest to a mistyped one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace psltool {

// Empty when no word is near. Between words of the same distance the first one is taken.
std::string Nearest(std::string_view word, const std::vector<std::string>& words);

}  // namespace psltool
