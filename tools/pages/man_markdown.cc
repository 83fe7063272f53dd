// A page of the documentation as a manual page: see the header.
#include "tools/pages/man_markdown.h"

#include <cctype>
#include <regex>
#include <vector>

#include "tools/pages/roff.h"
#include "tools/pages/text_table.h"

namespace psltool {

namespace {

// Without the marks of links and emphasis; `code` keeps its own for Prose.
std::string Plain(const std::string& text) {
  static const std::regex link(R"(\[([^\]]*)\]\([^)]*\))");
  static const std::regex bold(R"(\*\*([^*]+)\*\*)");
  static const std::regex italic(R"((^|[\s(])\*([^*\s][^*]*)\*)");
  return std::regex_replace(std::regex_replace(std::regex_replace(text, link, "$1"), bold, "$1"),
                            italic, "$1$2");
}

std::string WithoutMarks(std::string text) {
  std::erase(text, '`');
  return text;
}

TableRow CellsOf(const std::string& line) {
  TableRow cells;
  size_t at = 1;
  while (at < line.size()) {
    const size_t end = std::min(line.find('|', at), line.size());
    std::string cell = WithoutMarks(Plain(line.substr(at, end - at)));
    cell.erase(0, cell.find_first_not_of(' '));
    cell.erase(cell.find_last_not_of(' ') + 1);
    cells.push_back(cell);
    at = end + 1;
  }
  return cells;
}

// A table too wide for columns: an entry for each row, every cell with the head of its column.
std::string AsList(const std::vector<TableRow>& rows) {
  std::string page;
  for (size_t y = 1; y < rows.size(); ++y) {
    page += ".TP\n" + Bold(rows[y].front()) + "\n";
    std::string text;
    for (size_t x = 1; x < rows[y].size(); ++x) {
      if (rows[y][x].empty()) continue;
      text += (text.empty() ? "" : ", ") + rows.front()[x] + ": " + rows[y][x];
    }
    page += Prose(text.empty() ? "-" : text);
  }
  return page + ".PP\n";
}

class Converter {
 public:
  explicit Converter(std::vector<std::string> lines) : lines_(std::move(lines)) {}

  std::string Run() {
    while (at_ < lines_.size()) {
      const std::string& line = lines_[at_];
      if (line.empty()) {
        ++at_;
      } else if (line.starts_with("# ") || line.starts_with("Contents:")) {
        SkipParagraph();
      } else if (line.starts_with("#")) {
        Heading();
      } else if (line.starts_with("|")) {
        Table();
      } else if (line.starts_with("```") || line.starts_with("    ")) {
        Example();
      } else if (line.starts_with("- ")) {
        Item();
      } else {
        page_ += Paragraph(".PP\n", TakeParagraph());
      }
    }
    return page_;
  }

 private:
  void SkipParagraph() {
    while (at_ < lines_.size() && !lines_[at_].empty()) ++at_;
  }

  static std::string Paragraph(const std::string& request, const std::string& text) {
    return request + Prose(Plain(text));
  }

  std::string TakeParagraph() {
    std::string text;
    const size_t begin = at_;
    while (at_ < lines_.size() && !lines_[at_].empty() &&
           (at_ == begin || (!lines_[at_].starts_with("- ") && !lines_[at_].starts_with("|")))) {
      text += lines_[at_++] + " ";
    }
    return text;
  }

  void Heading() {
    const std::string& line = lines_[at_++];
    const size_t level = line.find_first_not_of('#');
    std::string text = WithoutMarks(Plain(line.substr(level + 1)));
    if (level == 2) {
      for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    }
    page_ += (level == 2 ? ".SH " : ".SS ") + text + "\n";
  }

  void Table() {
    std::vector<TableRow> rows;
    for (; at_ < lines_.size() && lines_[at_].starts_with("|"); ++at_) {
      if (!lines_[at_].starts_with("|-")) rows.push_back(CellsOf(lines_[at_]));
    }
    for (TableRow& row : rows) row.resize(rows.front().size());
    const auto lines = TableLines(rows);
    page_ += lines ? ".PP\n" + Block(*lines) : AsList(rows);
  }

  void Example() {
    std::vector<std::string> lines;
    if (lines_[at_].starts_with("```")) {
      for (++at_; at_ < lines_.size() && !lines_[at_].starts_with("```"); ++at_) {
        lines.push_back(lines_[at_]);
      }
      ++at_;
    } else {
      for (; at_ < lines_.size() && lines_[at_].starts_with("    "); ++at_) {
        lines.push_back(lines_[at_].substr(4));
      }
    }
    page_ += ".PP\n.RS 4\n" + Block(lines) + ".RE\n";
  }

  void Item() {
    lines_[at_].erase(0, 2);
    page_ += Paragraph(".IP \\(bu 2\n", TakeParagraph());
  }

  std::vector<std::string> lines_;
  size_t at_ = 0;
  std::string page_;
};

}  // namespace

std::string ManOfMarkdown(const ManTitle& title, const std::string& page,
                          const std::string& see_also) {
  std::string name = title.name;
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return PageHead(name, title.section, title.manual) + ".SH NAME\n" + title.name + " \\- " +
         title.summary + "\n.SH DESCRIPTION\n" + Converter(LinesOf(page)).Run() + see_also;
}

}  // namespace psltool
