// Source of manual pages: see the header.
#include "tools/pages/roff.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <sstream>

#include "platform/version.h"

namespace psltool {

namespace {

constexpr size_t kSourceWidth = 78;

// "-v" and "(--kind", not "-" and not "--".
bool IsOption(std::string_view word) {
  const size_t at = word.find_first_not_of("(\"");
  if (at == std::string_view::npos || word[at] != '-') return false;
  const size_t name = word.find_first_not_of('-', at);
  return name != std::string_view::npos &&
         std::isalnum(static_cast<unsigned char>(word[name])) != 0;
}

// A word of running text: only what has a meaning to the formatter is escaped.
std::string Word(std::string_view word, bool& bold) {
  const bool option = IsOption(word);
  std::string text;
  for (const char c : word) {
    if (text.ends_with('\xC3') && c == '\x97') {
      text.replace(text.size() - 1, 1, "\\(mu");
    } else if (c == '`') {
      bold = !bold;
      text += bold ? "\\fB" : "\\fR";
    } else if (c == '\\') {
      text += "\\e";
    } else if (c == '-' && (option || bold)) {
      text += "\\-";
    } else {
      text += c;
    }
  }
  return text;
}

// Words in lines of the source.
std::string Folded(const std::vector<std::string>& words) {
  std::string page;
  std::string line;
  const auto end_line = [&page, &line] {
    // A line that begins so would be a request.
    if (line.starts_with('.') || line.starts_with('\'')) line.insert(0, "\\&");
    if (!line.empty()) page += line + "\n";
    line.clear();
  };
  for (const std::string& word : words) {
    if (line.size() + 1 + word.size() > kSourceWidth) end_line();
    line += (line.empty() ? "" : " ") + word;
  }
  end_line();
  return page;
}

}  // namespace

std::string Literal(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    switch (c) {
      case '\\':
        escaped += "\\e";
        break;
      case '-':
        escaped += "\\-";
        break;
      case '\'':
        escaped += "\\(aq";
        break;
      case '`':
        escaped += "\\(ga";
        break;
      case '^':
        escaped += "\\(ha";
        break;
      case '~':
        escaped += "\\(ti";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string Bold(std::string_view text) { return "\\fB" + Literal(text) + "\\fR"; }

std::string Italic(std::string_view text) { return "\\fI" + Literal(text) + "\\fR"; }

std::string Prose(std::string_view text) {
  std::vector<std::string> words = WordsOf(text);
  bool bold = false;
  for (std::string& word : words) word = Word(word, bold);
  return Folded(words);
}

std::string Block(const std::vector<std::string>& lines) {
  std::string page = ".nf\n";
  for (const std::string& line : lines) {
    const std::string text = Literal(line);
    page += (text.starts_with('.') || text.starts_with("\\(aq") ? "\\&" : "") +
            (text.empty() ? std::string("\\&") : text) + "\n";
  }
  return page + ".fi\n";
}

std::string Tidied(const std::string& page) {
  const auto begins = [](const std::string& line, std::initializer_list<const char*> requests) {
    return std::any_of(requests.begin(), requests.end(),
                       [&line](const char* request) { return line.starts_with(request); });
  };
  std::string tidied;
  std::string before = ".SH";
  bool filled = true;  // not inside a block
  const std::vector<std::string> lines = LinesOf(page);
  for (size_t i = 0; i < lines.size(); ++i) {
    const std::string& line = lines[i];
    const std::string next = i + 1 < lines.size() ? lines[i + 1] : ".SH";
    const bool idle = line == ".PP" && (begins(before, {".SH", ".SS"}) ||
                                        begins(next, {".SH", ".SS", ".TP", ".IP", ".PP"}));
    if (idle) continue;
    if (line == ".nf") filled = false;
    if (line == ".fi") filled = true;
    const bool text = filled && !line.starts_with('.');
    tidied += text && line.size() > kSourceWidth ? Folded(WordsOf(line)) : line + "\n";
    // Names and options are whole words, and no line is stretched.
    if (line.starts_with(".TH")) tidied += ".nh\n.ad l\n";
    before = line;
  }
  return tidied;
}

std::string PageHead(const std::string& name, const std::string& section,
                     const std::string& manual) {
  return fmt::format(".TH {} {} {} \"Qelprfarc {}\" \"{}\"\n", Literal(name), section,
                     ReleaseDate(), kVersion, manual);
}

std::string ReleaseDate() {
  const char* const epoch = std::getenv("SOURCE_DATE_EPOCH");
  const std::time_t time = epoch != nullptr ? std::atoll(epoch) : std::time(nullptr);
  return fmt::format("{:%Y-%m-%d}", fmt::gmtime(time));
}

std::vector<std::string> LinesOf(std::string_view text) {
  std::istringstream stream{std::string(text)};
  std::vector<std::string> lines;
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::vector<std::string> WordsOf(std::string_view text) {
  std::istringstream stream{std::string(text)};
  std::vector<std::string> words;
  for (std::string word; stream >> word;) words.push_back(word);
  return words;
}

}  // namespace psltool
