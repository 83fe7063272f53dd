// The drawing of docs/architecture.md against every `#include` of the product: the folders are
// those that are drawn, includes run only along arrows and downwards, each arrow is one that
// somebody uses, and neither headers nor pairs (a header with its source) include each other in a
// circle. tools/ writes none of the archiver's variables, and second calculations
// include no rule.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace {

namespace fs = std::filesystem;

using Graph = std::map<std::string, std::set<std::string>>;

const fs::path kRoot = fs::path(TEST_SOURCE_DIR).parent_path();

std::string TextOf(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Rooms by folder, with the folders that their arrows point to.
Graph Drawing() {
  const std::string page = TextOf(kRoot / "docs/architecture.md");
  const size_t begin = page.find("```mermaid");
  const std::string drawing = page.substr(begin, page.find("```", begin + 3) - begin);
  std::map<std::string, std::string> folders;  // by the name of the box
  const std::regex box("(\\w+)\\[\"<b>([\\w/]+)/</b>");
  const std::regex arrow("(\\w+) --> (\\w+)");
  for (std::sregex_iterator at(drawing.begin(), drawing.end(), box), end; at != end; ++at) {
    folders[(*at)[1]] = (*at)[2];
  }
  Graph rooms;
  for (const auto& [name, folder] : folders) rooms[folder];
  for (std::sregex_iterator at(drawing.begin(), drawing.end(), arrow), end; at != end; ++at) {
    rooms[folders.at((*at)[1])].insert(folders.at((*at)[2]));
  }
  return rooms;
}

// What each source file of the rooms includes of the project, both by path from the root.
Graph Includes(const Graph& rooms) {
  Graph includes;
  const std::regex line("(^|\n)#include \"([^\"]+)\"");
  std::set<std::string> tops;
  for (const auto& [folder, below] : rooms) tops.insert(folder.substr(0, folder.find('/')));
  for (const std::string& top : tops) {
    for (const auto& entry : fs::recursive_directory_iterator(kRoot / top)) {
      const std::string extension = entry.path().extension();
      if (extension != ".cc" && extension != ".h") continue;
      const std::string text = TextOf(entry.path());
      auto& its = includes[entry.path().lexically_relative(kRoot)];
      for (std::sregex_iterator at(text.begin(), text.end(), line), end; at != end; ++at) {
        its.insert((*at)[2]);
      }
    }
  }
  return includes;
}

std::string FolderOf(const std::string& path) { return path.substr(0, path.rfind('/')); }

// Whether a way along the edges leads from one node to another, over at least one edge.
bool Leads(const Graph& graph, const std::string& from, const std::string& to) {
  std::set<std::string> seen;
  std::vector<std::string> open = {from};
  while (!open.empty()) {
    const std::string at = open.back();
    open.pop_back();
    const auto edges = graph.find(at);
    if (edges == graph.end()) continue;
    for (const std::string& next : edges->second) {
      if (next == to) return true;
      if (seen.insert(next).second) open.push_back(next);
    }
  }
  return false;
}

TEST(Architecture, TheRoomsAreTheFoldersAndHaveNoCircle) {
  const Graph rooms = Drawing();
  ASSERT_GE(rooms.size(), 10U);
  std::set<std::string> folders;
  for (const auto& [file, its] : Includes(rooms)) folders.insert(FolderOf(file));
  std::set<std::string> drawn;
  for (const auto& [folder, below] : rooms) {
    drawn.insert(folder);
    EXPECT_FALSE(Leads(rooms, folder, folder)) << folder << "/ is drawn in a circle";
  }
  EXPECT_EQ(folders, drawn);
}

TEST(Architecture, IncludesRunAlongTheArrows) {
  const Graph rooms = Drawing();
  std::set<std::pair<std::string, std::string>> used;
  for (const auto& [file, its] : Includes(rooms)) {
    for (const std::string& other : its) {
      const std::string from = FolderOf(file);
      const std::string to = FolderOf(other);
      used.insert({from, to});
      EXPECT_TRUE(from == to || Leads(rooms, from, to))
          << file << " includes " << other << ": no arrow of docs/architecture.md leads there";
    }
  }
  for (const auto& [from, below] : rooms) {
    for (const std::string& to : below) {
      EXPECT_TRUE(used.contains({from, to})) << "nothing uses the arrow " << from << " --> " << to;
    }
  }
}

TEST(Architecture, HeadersIncludeNoCircles) {
  const Graph files = Includes(Drawing());
  for (const auto& [file, its] : files) {
    EXPECT_FALSE(Leads(files, file, file)) << file << " includes itself by way of others";
  }
}

// A header and its source file taken for one.
std::string PairOf(const std::string& path) { return path.substr(0, path.rfind('.')); }

TEST(Architecture, PairsIncludeNoCircles) {
  Graph pairs;
  for (const auto& [file, its] : Includes(Drawing())) {
    for (const std::string& other : its) {
      if (PairOf(other) != PairOf(file)) pairs[PairOf(file)].insert(PairOf(other));
    }
  }
  ASSERT_GE(pairs.size(), 100U);
  for (const auto& [pair, its] : pairs) EXPECT_FALSE(Leads(pairs, pair, pair)) << pair;
}

// Names of the variables that the archiver's headers declare, by header.
Graph ArchiverVariables(const Graph& files) {
  Graph variables;
  const std::regex declared("\nextern (?!\"C\")([^;()]*?)(\\w+)(\\[[^\\]]*\\])?;");
  const std::regex function("\nextern [^;]*\\(\\*(\\w+)\\)");
  for (const auto& [file, its] : files) {
    if (file.starts_with("tools/") || !file.ends_with(".h")) continue;
    const std::string text = TextOf(kRoot / file);
    for (std::sregex_iterator at(text.begin(), text.end(), declared), end; at != end; ++at) {
      const std::string type = (*at)[1];
      const bool constant = type.starts_with("const ") && type.find('*') == std::string::npos;
      if (!constant) variables[file].insert((*at)[2]);
    }
    for (std::sregex_iterator at(text.begin(), text.end(), function), end; at != end; ++at) {
      variables[file].insert((*at)[1]);
    }
  }
  return variables;
}

// Where a text assigns to a variable, to a part of it or by way of it, or gives its address away.
std::string Writing(const std::string& text, const std::string& name) {
  const std::string part = "\\b" + name + "\\b(\\.\\w+|->\\w+|\\[[^\\]]*\\])*";
  const std::regex writing("(" + part + "\\s*([-+|&^]?=(?!=)|\\+\\+|--))|([-+]{2}|[(,=]\\s*&)" +
                           part);
  std::smatch found;
  return std::regex_search(text, found, writing) ? found.str() : "";
}

TEST(Architecture, ToolsWriteNoVariableOfTheArchiver) {
  const Graph files = Includes(Drawing());
  const Graph variables = ArchiverVariables(files);
  std::set<std::string> names;
  for (const auto& [header, its] : variables) names.insert(its.begin(), its.end());
  for (const char* name : {"arcdelinfo", "finfo", "TargetList", "Ntarget", "rfname", "clock_hook",
                           "message_hook", "pml_system", "sgmtr_dmpfile"}) {
    EXPECT_TRUE(names.contains(name)) << name;
  }
  EXPECT_NE(Writing("  arcdelinfo.savetime[0].now = 1;", "arcdelinfo"), "");
  EXPECT_NE(Writing("  ++Ntarget;", "Ntarget"), "");
  EXPECT_NE(Writing("Fill(&finfo.level)", "finfo"), "");
  EXPECT_EQ(Writing("if (finfo.level == 'H' && Ntarget != 0)", "finfo"), "");
  for (const auto& [file, includes] : files) {
    if (!file.starts_with("tools/")) continue;
    const std::string text = TextOf(kRoot / file);
    for (const auto& [header, its] : variables) {
      for (const std::string& name : its) {
        if (text.find(name) == std::string::npos) continue;
        const std::string writing = Writing(text, name);
        // Where the header is not included the name is that of something else.
        EXPECT_TRUE(writing.empty() || !Leads(files, file, header)) << file << ": " << writing;
      }
    }
  }
}

// What the audit's calculation shares with the archiver is where things stand in a file.
bool IsShared(const std::string& path) {
  return path.starts_with("engine/layout/") || path == "engine/pmonfile.h" ||
         path == "engine/byteorder.h" || path.starts_with("tools/");
}

TEST(Architecture, SecondCalculationsIncludeNoRuleOfTheFirst) {
  size_t audit = 0;
  for (const auto& [file, its] : Includes(Drawing())) {
    if (!file.starts_with("tools/audit/recompute_")) continue;
    ++audit;
    for (const std::string& other : its) EXPECT_TRUE(IsShared(other)) << file << ": " << other;
  }
  EXPECT_GE(audit, 10U);
  size_t model = 0;
  const std::regex line("\n#include \"([^\"]+)\"");
  for (const auto& entry : fs::directory_iterator(kRoot / "tests/model")) {
    ++model;
    const std::string text = TextOf(entry.path());
    for (std::sregex_iterator at(text.begin(), text.end(), line), end; at != end; ++at) {
      EXPECT_TRUE((*at)[1].str().starts_with("tests/model/")) << entry.path() << ": " << (*at)[1];
    }
  }
  EXPECT_GE(model, 20U);
}

}  // namespace
