// Tables as text: see the header.
#include "tools/pages/text_table.h"

#include <algorithm>
#include <numeric>

#include "tools/output/characters.h"
#include "tools/pages/roff.h"

namespace psltool {

namespace {

constexpr size_t kTableWidth = 70;  // pages indent by 7, terminals have 80
constexpr size_t kGap = 2;
constexpr size_t kNarrowest = 12;  // of a column whose cells go on

// A cell's text in lines of this width; a longer word stands alone.
std::vector<std::string> Broken(const std::string& cell, size_t width) {
  std::vector<std::string> lines;
  for (const std::string& word : WordsOf(cell)) {
    if (lines.empty() || WidthOf(lines.back()) + 1 + WidthOf(word) > width) {
      lines.push_back(word);
    } else {
      lines.back() += " " + word;
    }
  }
  return lines;
}

size_t LongestWord(const std::vector<TableRow>& rows, size_t column) {
  size_t longest = 0;
  for (const TableRow& row : rows) {
    for (const std::string& word : WordsOf(row[column])) {
      longest = std::max(longest, WidthOf(word));
    }
  }
  return longest;
}

// Empty when it does not fit.
std::vector<size_t> WidthsOf(const std::vector<TableRow>& rows) {
  const size_t columns = rows.front().size();
  std::vector<size_t> widths(columns);
  std::vector<size_t> least(columns);
  for (size_t i = 0; i < columns; ++i) {
    for (const TableRow& row : rows) widths[i] = std::max(widths[i], WidthOf(row[i]));
    least[i] = std::min(widths[i], std::max(kNarrowest, LongestWord(rows, i)));
  }
  while (std::accumulate(widths.begin(), widths.end(), kGap * (columns - 1)) > kTableWidth) {
    size_t widest = columns;
    for (size_t i = 0; i < columns; ++i) {
      if (widths[i] > least[i] && (widest == columns || widths[i] > widths[widest])) widest = i;
    }
    if (widest == columns) return {};
    --widths[widest];
  }
  return widths;
}

void PutRow(const TableRow& row, const std::vector<size_t>& widths,
            std::vector<std::string>& lines) {
  std::vector<std::vector<std::string>> cells;
  size_t height = 1;
  for (size_t i = 0; i < row.size(); ++i) {
    cells.push_back(Broken(row[i], widths[i]));
    height = std::max(height, cells.back().size());
  }
  for (size_t y = 0; y < height; ++y) {
    std::string line;
    size_t filled = 0;
    for (size_t i = 0; i < cells.size(); ++i) {
      const std::string text = y < cells[i].size() ? cells[i][y] : "";
      if (!text.empty()) {
        line += std::string(filled, ' ') + text;
        filled = 0;
      }
      filled += widths[i] - std::min(widths[i], WidthOf(text)) + kGap;
    }
    lines.push_back(line);
  }
}

}  // namespace

std::optional<std::vector<std::string>> TableLines(const std::vector<TableRow>& rows) {
  const std::vector<size_t> widths = WidthsOf(rows);
  if (widths.empty()) return std::nullopt;
  std::vector<std::string> lines;
  PutRow(rows.front(), widths, lines);
  std::string under;
  for (const size_t width : widths) {
    under += (under.empty() ? "" : std::string(kGap, ' ')) + std::string(width, '-');
  }
  lines.push_back(under);
  for (size_t i = 1; i < rows.size(); ++i) PutRow(rows[i], widths, lines);
  return lines;
}

}  // namespace psltool
