// The text behind a command's options: see the header.
#include "tools/pages/help_text.h"

#include <algorithm>
#include <string_view>

#include "tools/pages/roff.h"

namespace psltool {

namespace {

constexpr std::string_view kStatus = "Exit status";

std::string OneLine(const std::string& text) {
  std::string line;
  for (const std::string& word : WordsOf(text)) line += (line.empty() ? "" : " ") + word;
  return line;
}

}  // namespace

HelpText TakeApart(const std::string& help) {
  HelpText text;
  for (size_t at = 0; at < help.size();) {
    const size_t end = std::min(help.find("\n\n", at), help.size());
    const std::string paragraph = help.substr(at, end - at);
    at = end + 2;
    if (paragraph.starts_with(kStatus)) {
      const std::string line = OneLine(paragraph);
      text.statuses = line.substr(line.find(": ") + 2);
    } else if (paragraph.starts_with("Example")) {
      for (const std::string& line : LinesOf(paragraph.substr(paragraph.find('\n') + 1))) {
        text.examples.push_back(line.starts_with("  ") ? line.substr(2) : line);
      }
    } else {
      text.paragraphs.push_back(OneLine(paragraph));
    }
  }
  return text;
}

}  // namespace psltool
