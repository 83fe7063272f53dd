// Text as one word of a POSIX shell.
#pragma once

#include <string>
#include <string_view>

namespace psltool {

// As it stands when no shell would see more in it than the text, else in single quotes.
inline std::string ShellWord(std::string_view text) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+./:,@%";
  if (!text.empty() && text.find_first_not_of(kPlain) == std::string_view::npos) {
    return std::string(text);
  }
  std::string word = "'";
  for (const char c : text) {
    if (c == '\'') {
      word += "'\\''";
    } else {
      word += c;
    }
  }
  return word + "'";
}

}  // namespace psltool
