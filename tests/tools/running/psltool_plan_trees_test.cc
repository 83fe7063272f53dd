// A plan and the run that it foretells, over random archive directories and dates: the same files
// archived, skipped and removed, in the same order. And the plan itself changes nothing.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/lines.h"
#include "tests/support/run_state.h"
#include "tests/support/runs/nights.h"
#include "tests/support/tools/plan_tree.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr char kZone[] = "Europe/Berlin";

using Names = std::vector<std::string>;

Names PathsOf(const json& files) {
  Names paths;
  for (const json& file : files) paths.push_back(file.at("path"));
  return paths;
}

// Names of the archive directory and of "archive" in it; directories end in "/".
std::set<std::string> TreeOf(const TestServer& server) {
  const fs::path root = server.directory.Path("arc");
  std::set<std::string> names;
  for (const auto& entry : fs::recursive_directory_iterator(root)) {
    const bool directory = entry.is_directory() && !entry.is_symlink();
    names.insert(fs::relative(entry.path(), root).string() + (directory ? "/" : ""));
  }
  return names;
}

std::string Joined(const Names& lines) {
  std::string text;
  for (const std::string& line : lines) text += line + "\n";
  return text;
}

class LongPrefixPlanTrees : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    if (NoPreloading().empty()) samples = new SampleFiles(MakeSamples("2024-02-24", 8, kZone));
  }
  static void TearDownTestSuite() {
    delete samples;
    samples = nullptr;
  }
  void SetUp() override {
    SKIP_WITHOUT_PRELOADING();
    // Made by the first run there, and then alike for both.
    RunNight(TestServer(), ClockAt("2024-01-01 00:00:00", kZone));
  }

  // One directory, one moment.
  void Compare(unsigned seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    const TestServer fresh;
    server = &fresh;
    TestServer& changed = const_cast<TestServer&>(fresh);
    FillArchiveDirectory(*samples, fresh.directory, random);
    const auto pick = [&random](int low, int high) {
      return static_cast<uint16_t>(std::uniform_int_distribution<int>(low, high)(random));
    };
    if (pick(0, 2) > 0) changed.segment.PutRetention(0, pick(1, 9), 0);
    if (pick(0, 2) > 0) changed.segment.PutRetention(1, pick(1, 2), 1);
    if (pick(0, 2) > 0) changed.segment.PutRetention(2, pick(1, 2), pick(1, 2));
    changed.segment.PutArchivingSwitch(pick(0, 9) == 0 ? 0 : 1);
    constexpr const char* kMoments[] = {"2024-02-29 23:59:59", "2024-03-01 00:00:00",
                                        "2024-03-02 00:30:00", "2024-03-04 12:00:00",
                                        "2024-03-31 03:30:00", "2024-04-02 00:30:00"};
    clock = ClockAt(kMoments[pick(0, 5)], kZone);
    disturb.clear();
    if (pick(0, 2) == 0) {
      // Nothing that the run makes: it would not open what it has written itself.
      constexpr const char* kRules[] = {
          "open:a.psl:1:9999:13",     "open:#002.psl:1:9999:13", "open:0102q.psa:1:9999:13",
          "open:15A.psl:1:9999:24",   "stat:#002.psl:1:9999:5",  "stat:0102q.psa:1:9999:5",
          "pread:b#001.psl:1:9999:5", "fstat:27a.psl:1:9999:5",  "stat:/notes:1:9999:5"};
      disturb = {{"DISTURB_FAIL", kRules[pick(0, 8)]}};
    }
    const json plan = PlanIt();
    if (!HasFatalFailure()) RunAndCompare(plan);
  }

  json PlanIt() const {
    const SharedSegment segment(server->segment);
    ProgramSettings settings;
    settings.variables = NightVariables(clock, disturb);
    const auto tree = StateOf(server->directory.Path());
    const auto prefix = StateOf(QELPRFARC_TEST_PREFIX);
    const ProgramResult result =
        RunProgram(PSLTOOL_PATH, {"plan", "--segment", segment.Id(), "--read", "--json"}, settings);
    EXPECT_EQ(StateOf(server->directory.Path()), tree);
    EXPECT_EQ(StateOf(QELPRFARC_TEST_PREFIX), prefix);
    EXPECT_LE(result.status, 1) << result.err;
    return json::parse(result.out);
  }

  void RunAndCompare(const json& plan) {
    const std::set<std::string> before = TreeOf(*server);
    Variables variables = disturb;
    const TempDir steps;
    variables.emplace_back("DISTURB_STEPS", steps.Path("steps"));
    const ProgramResult run = RunNight(*server, clock, variables);
    const bool ends_early = plan.at("ends_early") != "";
    EXPECT_EQ(run.status, ends_early ? 1 : 0) << plan.at("ends_early");
    ExpectSteps(plan, Lines(steps.Read("steps")));
    ExpectTree(plan, before);
    ExpectRemovals(plan, before, run.pid);
    ExpectAllAccountedFor(plan, before);
    outputs += PathsOf(plan["runs"].empty() ? json::array() : plan["runs"][0]["outputs"]).size();
    removals += plan.at("remove").size();
    early_ends += ends_early ? 1 : 0;
  }

  std::string Path(const std::string& name) const { return server->directory.Path("arc/" + name); }

  // Inputs that one of the runs opens but does not archive.
  struct PassedOver {
    size_t outputs;  // of the run
    std::set<std::string> lines;
  };

  // What the archive runs do with their inputs and outputs, one behind the other: an input is
  // opened (r), its output created (w), further inputs are opened, the output ends (e) and gets its
  // name (n).
  void ExpectSteps(const json& plan, const Names& lines) const {
    std::vector<PassedOver> passed_over;
    Names expected;
    for (const json& run : plan.at("runs")) {
      passed_over.push_back({run.at("outputs").size(), {}});
      for (const json& file : run.at("skip")) {
        if (file.at("class") != "passed-over") continue;
        passed_over.back().lines.insert("r " + Path(file.at("path")));
      }
      const Names inputs = PathsOf(run.at("archive"));
      size_t next = 0;
      for (const json& output : run.at("outputs")) {
        const std::string path = Path(output.at("path"));
        const bool temporary = path.ends_with("_tmp");
        const std::string written = temporary ? path : path + "_tmp";
        for (size_t i = 0; i < output.at("inputs"); ++i) {
          expected.push_back("r " + Path(inputs.at(next++)));
          if (i == 0) expected.push_back("w " + written);
        }
        expected.push_back("e " + written);
        if (!temporary) expected.push_back("n " + path);
      }
      EXPECT_EQ(next, inputs.size());
    }
    Names seen = RunsOf(lines, passed_over);
    if (plan.at("ends_early") != "") seen.resize(std::min(seen.size(), expected.size()));
    EXPECT_EQ(Joined(seen), Joined(expected));
  }

  // The same from the steps of a run, without openings that have another purpose.
  static Names RunsOf(const Names& lines, const std::vector<PassedOver>& passed_over) {
    Names seen;
    std::set<std::string> open;
    size_t run = 0;
    size_t ended = 0;
    for (const std::string& line : lines) {
      const bool in_archive = line.find("/arc/") != std::string::npos && !line.ends_with("/");
      if (!in_archive) continue;
      while (run < passed_over.size() && ended == passed_over[run].outputs) {
        ended = 0;
        ++run;
      }
      if (run < passed_over.size() && passed_over[run].lines.contains(line)) continue;
      const std::string path = line.substr(2);
      // A broken log's output is opened again, to be emptied and synced.
      const bool emptied = line[0] == 'w' && !open.insert(path).second;
      if (emptied || (line[0] == 's' && !path.ends_with("_tmp"))) continue;
      if (line[0] == 's') ++ended;
      seen.push_back(line[0] == 's' ? "e " + path : line);
    }
    // A day run opens the first input of the next archive before this one ends.
    for (size_t i = 1; i + 1 < seen.size(); ++i) {
      size_t next = i;
      while (next < seen.size() && (seen[next][0] == 'e' || seen[next][0] == 'n')) ++next;
      if (next == i || next == seen.size() || seen[next][0] != 'w' || seen[i - 1][0] != 'r')
        continue;
      std::rotate(seen.begin() + static_cast<std::ptrdiff_t>(i) - 1,
                  seen.begin() + static_cast<std::ptrdiff_t>(i),
                  seen.begin() + static_cast<std::ptrdiff_t>(next));
    }
    Names runs;
    bool in_output = false;
    for (size_t i = 0; i < seen.size(); ++i) {
      const bool first = i + 1 < seen.size() && seen[i + 1][0] == 'w';
      if (seen[i][0] != 'r' || first || in_output) runs.push_back(seen[i]);
      if (seen[i][0] == 'w') in_output = true;
      if (seen[i][0] == 'e') in_output = false;
    }
    return runs;
  }

  void ExpectTree(const json& plan, const std::set<std::string>& before) const {
    std::set<std::string> expected = before;
    if (server->directory.Exists("arc/archive")) expected.insert("archive/");
    for (const json& run : plan.at("runs")) {
      for (const json& output : run.at("outputs")) {
        const std::string path = output.at("path");
        expected.erase(path + "_tmp");
        expected.insert(path);
      }
    }
    for (const std::string& path : PathsOf(plan.at("remove"))) {
      EXPECT_EQ(expected.erase(path), 1u) << path;
    }
    EXPECT_EQ(TreeOf(*server), expected);
    for (const json& run : plan.at("runs")) {
      for (const json& output : run.at("outputs")) {
        const std::string path = output.at("path");
        if (!expected.contains(path)) continue;
        const std::string trouble = output.at("trouble");
        EXPECT_EQ(fs::file_size(Path(path)) == 0, trouble.find("empty") != std::string::npos)
            << path;
      }
    }
  }

  // A directory lists what the run has made wherever it likes; all others keep their order.
  void ExpectRemovals(const json& plan, const std::set<std::string>& before, pid_t pid) const {
    Names planned;
    std::set<std::string> planned_new;
    for (const json& file : plan.at("remove")) {
      if (file.at("class") == "marker") continue;
      const std::string path = file.at("path");
      const std::string name = path.substr(path.find('/') + 1);
      before.contains(path) ? planned.push_back(name) : void(planned_new.insert(name));
    }
    Names removed;
    std::set<std::string> removed_new;
    for (const std::string& text : TestServer::TraceOf(pid)) {
      if (!text.starts_with("del ") || text.starts_with("del done")) continue;
      const std::string name = text.substr(4);
      planned_new.contains(name) ? void(removed_new.insert(name)) : removed.push_back(name);
    }
    EXPECT_EQ(removed, planned);
    EXPECT_EQ(removed_new, planned_new);
  }

  // Each run speaks of every file once.
  static void ExpectAllAccountedFor(const json& plan, const std::set<std::string>& before) {
    if (plan.at("runs").empty() || plan.at("ends_early") != "") return;
    std::multiset<std::string> told;
    for (const char* part : {"archive", "skip"}) {
      for (const std::string& path : PathsOf(plan["runs"][0][part])) told.insert(path);
    }
    std::multiset<std::string> logs;
    for (const std::string& name : before) {
      // Sockets, directories and links to nowhere are not listed.
      const bool listed = !name.ends_with("/") && name.find("27s.") == std::string::npos;
      if (listed && !name.starts_with("archive/")) logs.insert(name);
    }
    EXPECT_EQ(told, logs);
  }

  static SampleFiles* samples;
  const TestServer* server = nullptr;
  Clock clock;
  Variables disturb;
  size_t outputs = 0;
  size_t removals = 0;
  size_t early_ends = 0;
};

SampleFiles* LongPrefixPlanTrees::samples = nullptr;

TEST_F(LongPrefixPlanTrees, RunDoesWhatThePlanSays) {
  constexpr unsigned kTrees = 40;
  for (unsigned seed = 1; seed <= kTrees && !HasFailure(); ++seed) Compare(seed);
  // There was something to foretell, and now and then a bad end.
  EXPECT_GT(outputs, 100u);
  EXPECT_GT(removals, 100u);
  EXPECT_GT(early_ends, 0u);
}

}  // namespace
