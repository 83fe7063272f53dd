// docs/format.md and docs/format-entries.md, which are psl(5) too, against the facts of the format
// that the tests spell out by hand (layout_test holds the program's tables to the same): item
// bitmaps and their full masks, sizes of heads, and where each kind stands in them.
#include <gtest/gtest.h>

#include <bit>
#include <filesystem>
#include <map>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/revision_facts.h"
#include "tests/support/tempdir.h"

namespace {

using Row = std::vector<std::string>;
using revtest::KindFacts;

// Cells of the first table behind a text, head first.
std::vector<Row> TableBehind(const std::string& mark) {
  const auto docs = std::filesystem::path(TEST_SOURCE_DIR).parent_path() / "docs";
  const std::string page = TempDir::ReadFile((docs / "format.md").string()) +
                           TempDir::ReadFile((docs / "format-entries.md").string());
  const size_t at = page.find(mark);
  EXPECT_NE(at, std::string::npos) << mark;
  std::vector<Row> rows;
  std::istringstream stream(page.substr(page.find("\n|", at) + 1));
  for (std::string line; std::getline(stream, line) && line.starts_with("|");) {
    if (line.starts_with("|-")) continue;
    Row cells;
    std::istringstream row(line.substr(1));
    for (std::string cell; std::getline(row, cell, '|');) {
      cell.erase(0, cell.find_first_not_of(' '));
      cell.erase(cell.find_last_not_of(' ') + 1);
      cells.push_back(cell);
    }
    rows.push_back(cells);
  }
  return rows;
}

// The revisions that a cell names: "0x13", "0x11, 0x12", "0x14-0x18".
std::vector<int> RevisionsIn(const std::string& cell) {
  std::vector<int> revisions;
  const std::regex span("0x([0-9A-F]+)(-0x([0-9A-F]+))?");
  for (std::sregex_iterator at(cell.begin(), cell.end(), span), end; at != end; ++at) {
    const int first = std::stoi((*at)[1], nullptr, 16);
    const int last = (*at)[3].matched ? std::stoi((*at)[3], nullptr, 16) : first;
    for (int revision = first; revision <= last; ++revision) revisions.push_back(revision);
  }
  return revisions;
}

const KindFacts* FactsOf(int revision, const std::string& name) {
  static std::map<int, std::vector<KindFacts>> all;
  if (!all.contains(revision)) all[revision] = revtest::KindsOf(revision);
  for (const KindFacts& facts : all[revision]) {
    if (revtest::NameOf(facts.kind) == name) return &facts;
  }
  return nullptr;
}

TEST(FormatPage, FullMasks) {
  const std::vector<Row> table = TableBehind("Full masks:");
  size_t compared = 0;
  for (size_t y = 1; y < table.size(); ++y) {
    if (table[y][0] == "reserved") continue;
    std::istringstream names(table[y][0]);
    for (std::string name; std::getline(names >> std::ws, name, ',');) {
      for (size_t x = 1; x < table[y].size(); ++x) {
        for (const int revision : RevisionsIn(table[0][x])) {
          const KindFacts* const facts = FactsOf(revision, name);
          const std::string where = name + " of " + revtest::RevisionName(revision);
          ASSERT_EQ(facts == nullptr, table[y][x].empty()) << where;
          if (facts == nullptr) continue;
          char cell[32];
          snprintf(cell, sizeof cell, "%08X / %d", facts->mask, std::popcount(facts->mask));
          EXPECT_EQ(table[y][x], cell) << where;
          ++compared;
        }
      }
    }
  }
  EXPECT_GE(compared, 150U);
}

TEST(FormatPage, ItemBitmaps) {
  const std::vector<Row> table = TableBehind("### 3.1 Item bitmaps");
  size_t compared = 0;
  for (size_t y = 1; y < table.size(); ++y) {
    for (const int revision : RevisionsIn(table[y][0])) {
      for (size_t x = 1; x < table[y].size(); ++x) {
        const std::string& name = table[y][x];
        if (name.empty() || name == "0" || name == "reserved") continue;
        const KindFacts* const facts = FactsOf(revision, name);
        ASSERT_NE(facts, nullptr) << name;
        EXPECT_EQ(std::to_string(facts->mask_at), table[0][x])
            << name << " of " << revtest::RevisionName(revision);
        ++compared;
      }
    }
  }
  EXPECT_GE(compared, 150U);
}

// Of structure and statistics records up to 0x18: sizes, and the slots of the kinds.
TEST(FormatPage, HeadsUpTo0x18) {
  for (const char* mark : {"### 4.2 Headers up to 0x18", "Up to 0x18 the section headers"}) {
    const std::vector<Row> table = TableBehind(mark);
    size_t compared = 0;
    for (size_t y = 1; y < table.size(); ++y) {
      for (const int revision : RevisionsIn(table[y][0])) {
        EXPECT_EQ(table[y][1], std::to_string(revtest::RecordHeadOf(revision))) << mark;
        for (size_t x = 3; x < table[y].size(); ++x) {
          if (table[y][x].empty()) continue;
          const KindFacts* const facts = FactsOf(revision, table[y][x]);
          ASSERT_NE(facts, nullptr) << table[y][x];
          EXPECT_EQ(table[0][x], std::to_string(facts->slot)) << table[y][x];
          ++compared;
        }
      }
    }
    EXPECT_GE(compared, 50U) << mark;
  }
}

TEST(FormatPage, HeadOfStatisticsRecords) {
  size_t compared = 0;
  for (const Row& row : TableBehind("### 5.1 Head")) {
    for (const int revision : revtest::RevisionsFrom(0x19)) {
      const KindFacts* const facts = FactsOf(revision, row[2]);
      if (facts == nullptr) continue;
      EXPECT_EQ(row[0], std::to_string(facts->slot)) << row[2];
      EXPECT_LE(std::stoi(row[3], nullptr, 16), revision) << row[2];
      ++compared;
    }
  }
  EXPECT_GE(compared, 100U);
}

}  // namespace
