// psltool plan: the reasons that it gives, its options, its refusals, and the pruning.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "tests/support/runs/nights.h"
#include "tests/support/tools/plan_fixture.h"
#include "tests/support/tools/plan_tree.h"

namespace {

using nlohmann::json;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::UnorderedElementsAre;

constexpr uint32_t kMarch3 = 1709424000;  // 2024-03-03 00:00:00 UTC

TEST_F(PsltoolPlan, EverySkippedLogHasItsReason) {
  AddLog("20240303a.psl", kMarch3);
  AddLog("20240303b.psl", kMarch3);
  AddLog("20240303c.psl", kMarch3, 0x16);
  AddLog("20240303g.psl", kMarch3, 0x7F);
  AddLog("20240305a.psl", kMarch3 + 2 * 86400);
  AddLog("20240131a.psl", kMarch3 - 32 * 86400);
  AddLog("20240230a.psl", kMarch3);
  directory.Write("arc/20240303d.psl");
  directory.Write("arc/20240303e.psl", "HDR");
  directory.Write("arc/20240303f.psl", HeaderBytes({}).substr(0, 100));
  directory.Write("arc/20240303x.psl", "XYZ" + HeaderBytes({}).substr(3));
  directory.Write("arc/notes");
  AddArchive("20240303b.psa", 'H');
  const json plan = JsonPlan({"--keep-hour", "1m"});
  const json& hour = plan.at("runs").at(0);
  ASSERT_EQ(hour.at("archive").size(), 1u);
  EXPECT_EQ(hour.at("archive").at(0).at("path"), "20240303a.psl");
  EXPECT_EQ(hour.at("outputs").at(0).at("path"), "archive/20240303a.psa");
  const json& skip = hour.at("skip");
  EXPECT_EQ(ReasonOf(skip, "20240303b.psl"), "archived: an hour archive of its day exists");
  EXPECT_EQ(ReasonOf(skip, "20240303c.psl"),
            "refused: format revision 0x16; below 0x17 logs are archived by hand");
  EXPECT_EQ(ReasonOf(skip, "20240303d.psl"), "refused: is empty");
  EXPECT_EQ(ReasonOf(skip, "20240303e.psl"), "refused: has no file header");
  EXPECT_EQ(ReasonOf(skip, "20240303f.psl"), "short: shorter than its file header (message 110)");
  EXPECT_EQ(ReasonOf(skip, "20240303g.psl"),
            "revision: a format revision that is not known (message 120)");
  EXPECT_EQ(ReasonOf(skip, "20240303x.psl"),
            "header: does not begin with a file header (message 101)");
  EXPECT_EQ(ReasonOf(skip, "20240305a.psl"),
            "not-over: the hour run takes what lies before 2024-03-05 00:00");
  EXPECT_EQ(ReasonOf(skip, "20240131a.psl"),
            "before-limit: before 2024-02-05 00:00: its archive would be expired, limit 1 month");
  EXPECT_EQ(ReasonOf(skip, "20240230a.psl"), "no-date: the digits of its name are no date");
  EXPECT_EQ(ReasonOf(skip, "notes"), "other-file: no log or archive by its name");
  EXPECT_EQ(skip.size(), 11u);
}

// Once, one look that brought less than a header took the log for one without, and one that failed
// took it for an empty one.
TEST_F(PsltoolPlan, LogIsNotCalledShortOrEmptyAsItsReadingIsDisturbed) {
  SKIP_WITHOUT_PRELOADING();
  AddLog("20240303c.psl", kMarch3, 0x16);
  const auto reason = [this](const std::string& variable, const std::string& value) {
    variables = {{"LD_PRELOAD", DISTURB_PATH}, {variable, value}};
    return ReasonOf(JsonPlan({}).at("runs").at(0).at("skip"), "20240303c.psl");
  };
  EXPECT_EQ(reason("DISTURB_SHORT", "5"),
            "refused: format revision 0x16; below 0x17 logs are archived by hand");
  std::set<std::string> reasons;
  for (int call = 1; call <= 6; ++call) {
    reasons.insert(
        reason("DISTURB_FAIL", "pread:/20240303c.psl:" + std::to_string(call) + ":99:5"));
  }
  EXPECT_THAT(reasons, Contains("refused: cannot be read: Input/output error"));
  EXPECT_THAT(reasons, Not(Contains("refused: is empty")));
}

TEST_F(PsltoolPlan, NodeThatIsNoFileIsNotCalledEmpty) {
  ASSERT_EQ(mkfifo(directory.Path("arc/20240303p.psl").c_str(), 0600), 0);
  EXPECT_EQ(ReasonOf(JsonPlan({}).at("runs").at(0).at("skip"), "20240303p.psl"),
            "refused: is no regular file");
}

TEST_F(PsltoolPlan, RemovalSaysWhenAndByWhichLimit) {
  AddLog("20240201a.psl", kMarch3);
  AddLog("20240301a.psl", kMarch3);
  AddLog("20240101a.psl", kMarch3, 0x16);
  AddArchive("20240201a.psa", 'H');
  AddArchive("202302a.psa", 'D');
  AddArchive("202303a.psa", 'D');
  directory.Write("arc/archive/20240301a.psa_tmp");
  directory.Write("arc/Qelprf.A");
  const json plan = JsonPlan(
      {"--keep-psl", "30d", "--keep-hour", "1m", "--keep-day", "1y", "--archiving", "off"});
  const json& removed = plan.at("remove");
  EXPECT_EQ(ReasonOf(removed, "20240201a.psl"), "expired: expired 2024-03-03 00:00, limit 30 days");
  EXPECT_EQ(ReasonOf(removed, "archive/20240201a.psa"),
            "expired: expired 2024-03-02 00:00, limit 1 month");
  // A year before 29 February is 1 March, so February goes a day early.
  EXPECT_EQ(ReasonOf(removed, "archive/202302a.psa"),
            "expired: expired 2024-02-29 00:00, limit 1 year");
  EXPECT_EQ(ReasonOf(removed, "archive/20240301a.psa_tmp"),
            "temporary: left unfinished, and always removed");
  EXPECT_EQ(ReasonOf(removed, "Qelprf.A"), "marker: a marker of the monitor, always removed");
  EXPECT_EQ(removed.size(), 5u);
  const json& kept = plan.at("keep");
  EXPECT_EQ(ReasonOf(kept, "20240301a.psl"), "in-time: expires 2024-04-01 00:00, limit 30 days");
  EXPECT_EQ(ReasonOf(kept, "archive/202303a.psa"),
            "in-time: expires 2024-04-01 00:00, limit 1 year");
  EXPECT_THAT(ReasonOf(kept, "20240101a.psl"), HasSubstr("refused: never removed"));
  EXPECT_THAT(plan.at("runs"), IsEmpty());
}

// The moment that the plan names is the first at which the run removes the file, to the second.
TEST_F(PsltoolPlan, ExpiryIsTheFirstMomentOfRemoval) {
  AddLog("20240301a.psl", kMarch3);
  const std::vector<std::string> options{"--keep-psl", "30d", "--archiving", "off"};
  EXPECT_THAT(JsonPlan(options, "2024-03-31 23:59:59").at("remove"), IsEmpty());
  EXPECT_EQ(JsonPlan(options, "2024-04-01 00:00:00").at("remove").size(), 1u);
}

TEST_F(PsltoolPlan, LogBelowAnotherDaysNameIsLeftAlone) {
  AddLog("20240303a.psl", kMarch3);
  AddLog("20240304a.psl", kMarch3);
  const ProgramResult result = Plan({});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, HasSubstr("the run has made an archive of that name already (message "
                                    "102)\n"));
}

TEST_F(PsltoolPlan, ArchiveThatStandsIsNotReplaced) {
  AddLog("20240304a.psl", kMarch3);
  AddArchive("20240303a.psa", 'H');
  EXPECT_THAT(Plan({}).out, HasSubstr("its name is taken, and what stands there is never replaced "
                                      "(message 111)\n"));
}

TEST_F(PsltoolPlan, UsualReasonsAreCountedUnlessAllAreWanted) {
  AddLog("20240303a.psl", kMarch3);
  AddArchive("20240303a.psa", 'H');
  EXPECT_THAT(Plan({}).out, HasSubstr("  skip     1 archived already\n"));
  const std::string all = Plan({"--all"}).out;
  EXPECT_THAT(all, HasSubstr("an hour archive of its day exists\n"));
  EXPECT_THAT(all, Not(HasSubstr("archived already")));
}

TEST_F(PsltoolPlan, RefusesWhatItCannotPlan) {
  EXPECT_EQ(RunProgram(PSLTOOL_PATH, {"plan"}).status, 2);
  const ProgramResult keep = Plan({"--keep-hour", "3d"});
  EXPECT_EQ(keep.status, 2);
  EXPECT_THAT(keep.err, HasSubstr("plan --keep-hour: '3d' is not none, 1m to 24m, or 1y to 2y"));
  EXPECT_EQ(Plan({}, "soon").status, 2);
  const ProgramResult segment = RunProgram(PSLTOOL_PATH, {"plan", "--segment", "2147483000"});
  EXPECT_EQ(segment.status, 2);
  EXPECT_THAT(segment.err,
              HasSubstr("segment 2147483000: there is no segment 2147483000; `ipcs -m` "));
}

// The segment says it all; what is given besides would count for nothing.
TEST_F(PsltoolPlan, OptionsOfTheRootExcludeTheSegment) {
  for (const auto& [option, value] :
       std::vector<std::pair<std::string, std::string>>{{"--root", "/r"},
                                                        {"--archive", "/a"},
                                                        {"--pml", "/p"},
                                                        {"--keep-psl", "30d"},
                                                        {"--keep-hour", "1m"},
                                                        {"--keep-day", "1y"},
                                                        {"--archiving", "off"},
                                                        {"--capacity", "1"},
                                                        {"--capacity-override", "1"}}) {
    const ProgramResult result =
        RunProgram(PSLTOOL_PATH, {"plan", "--segment", "2147483000", option, value});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("excludes"));
    EXPECT_THAT(result.err, HasSubstr(option));
  }
}

// Neither the lock nor the working directory has a place then.
TEST_F(PsltoolPlan, RootWithoutItsDirectoriesEndsTheRun) {
  AddLog("20240303a.psl", kMarch3);
  AddLog("20230303a.psl", kMarch3 - 366 * 86400);
  const std::vector<std::string> keep = {"--keep-psl", "30d"};
  ASSERT_EQ(JsonPlan(keep).at("ends_early"), "");
  ASSERT_THAT(JsonPlan(keep).at("remove"), Not(IsEmpty()));
  const auto ends = [&](const std::vector<std::string>& more) {
    const json plan = JsonPlan(more);
    for (const char* list : {"runs", "remove", "keep", "prune"}) {
      EXPECT_THAT(plan.at(list), IsEmpty()) << list;
    }
    EXPECT_EQ(Plan(more).status, 1);
    EXPECT_THAT(Plan(more).out, HasSubstr("the run would end here: "));
    EXPECT_THAT(Plan(more).out, Not(HasSubstr("removal")));
    return std::string(plan.at("ends_early"));
  };
  std::filesystem::remove(directory.Path("root/core/Qelprfd"));
  const std::string core = directory.Path("root/core/Qelprfd");
  EXPECT_EQ(ends(keep), "there is no directory " + core + " (messages 113 and 114); make it first");
  EXPECT_THAT(ends({"--archiving", "off"}), HasSubstr(core));
  EXPECT_THAT(ends({"--auto2", "0", "1", "1"}), HasSubstr(core));
  std::filesystem::remove(directory.Path("root/pmon"));
  EXPECT_THAT(ends(keep), HasSubstr(directory.Path("root/pmon") + " and no " + core));
  directory.MakeDirectory("root/pmon");
  directory.MakeDirectory("root/core/Qelprfd");
  directory.Write("root/core/Qelprfd/Qelprfarc");
  EXPECT_THAT(ends(keep), HasSubstr(core + "/Qelprfarc is no directory"));
  // The lock file and the log directory of the run are as they were: not there.
  EXPECT_FALSE(directory.Exists("root/pmon/arclock"));
}

// As the run does it: it removes nothing either, and says so in its messages.
class PrefixPsltoolPlanRoot : public PsltoolPlan {};

TEST_F(PrefixPsltoolPlanRoot, RunWithoutTheDirectoriesDoesNothing) {
  AddLog("20240303a.psl", kMarch3);
  AddLog("20230303a.psl", kMarch3 - 366 * 86400);
  SegmentBytes segment;
  segment.PutDirectories(directory.Path("root"), directory.Path("arc"), directory.Path("pml"));
  segment.PutArchivingSwitch(1);
  segment.PutRetention(0, 30, 0);
  const SharedSegment shared(segment);
  const auto logs = directory.Names("arc");
  for (const char* missing : {"root/core/Qelprfd", "root/pmon"}) {
    std::filesystem::remove_all(directory.Path(missing));
    const ProgramResult plan = RunProgram(PSLTOOL_PATH, {"plan", "--segment", shared.Id()});
    EXPECT_EQ(plan.status, 1);
    EXPECT_THAT(plan.out, HasSubstr("the run would end here: there is no directory " +
                                    directory.Path("root/")));
    // The run's own status tells nothing of it.
    RunProgram(QELPRFARC_TEST_PATH, {"-mode", "svr", shared.Id(), "-auto"});
    EXPECT_EQ(directory.Names("arc"), logs);
    EXPECT_THAT(directory.Names("arc/archive"), IsEmpty());
    directory.MakeDirectory(missing);
  }
}

// --- Pruning --------------------------------------------------------------------------------------

class PrefixPsltoolPlanPruning : public PsltoolPlan {
 protected:
  void AddPml(const std::string& name, size_t size = 10) const {
    std::filesystem::create_directories(
        directory.Path(name).substr(0, directory.Path(name).rfind('/')));
    directory.Write(name, std::string(size, 'x'));
  }

  // Plans with the numbers, changing nothing; then runs. The files that each does away with.
  void Compare(const std::string& embedded, const std::string& days, const std::string& count,
               int32_t capacity, std::vector<std::string>& planned) {
    SegmentBytes segment;
    segment.PutDirectories(directory.Path("root"), directory.Path("arc"), directory.Path("pml"));
    segment.Put<int32_t>(6572, capacity);
    const SharedSegment shared(segment);
    ProgramSettings settings;
    settings.variables = {{"QelPMON_EMBSYSVOL", "yes"}};
    const auto before = StateOf(directory.Path());
    const ProgramResult plan = RunProgram(
        PSLTOOL_PATH,
        {"plan", "--segment", shared.Id(), "--json", "--auto2", embedded, days, count}, settings);
    EXPECT_EQ(StateOf(directory.Path()), before);
    ASSERT_EQ(plan.status, 0) << plan.err;
    std::vector<std::string> traced;
    const json steps = json::parse(plan.out).at("prune");
    for (const json& step : steps) {
      for (const json& file : step.at("files")) {
        traced.push_back(std::string(file.at("class")) + " " + std::string(file.at("path")));
        planned.push_back(std::string(file.at("path")).substr(directory.Path().size() + 1));
      }
    }
    const ProgramResult run =
        RunProgram(QELPRFARC_TEST_PATH,
                   {"-mode", "svr", shared.Id(), "-auto2", embedded, days, count}, settings);
    ASSERT_EQ(run.status, 0);
    std::vector<std::string> done;
    for (const std::string& text : TestServer::TraceOf(run.pid)) {
      const size_t name = text.find(" name=");
      if (!text.starts_with("DeletePml : task=") || name == std::string::npos) continue;
      done.push_back(text.substr(17, name - 17) + " " +
                     text.substr(name + 6, text.rfind(" size=") - name - 6));
    }
    EXPECT_EQ(traced, done);
    for (const std::string& path : planned) {
      // A staged log may take the name of one that went.
      const std::string staged = "root/.trace3/" + path.substr(path.rfind('/') + 1);
      const bool replaced =
          path != staged && std::count(planned.begin(), planned.end(), staged) > 0;
      EXPECT_EQ(directory.Exists(path), replaced) << path;
    }
  }
};

TEST_F(PrefixPsltoolPlanPruning, ByAgeAndThenByNumberAsTheRunDoesIt) {
  for (int day = 10; day <= 28; ++day) {
    const std::string date = "202402" + std::to_string(day);
    AddPml("pml/00/" + date + "x#001_001.pml");
    AddPml("pml/1F/" + date + "y#001_002.pml");
  }
  AddPml("pml/00/foreign.pml");
  AddPml("pml/00/notes.txt");
  std::vector<std::string> planned;
  Compare("0", "10", "3", 0, planned);
  // Nine days each of both directories, the foreign name, and three of what is left.
  EXPECT_EQ(planned.size(), 2 * 9 + 1 + 3u);
}

// Few dates and names, so that they meet: foreign ones, long ones, links to nowhere, directories.
TEST_F(PrefixPsltoolPlanPruning, RandomTreesAsTheRunDoesIt) {
  std::mt19937 random(812);
  const auto pick = [&random](int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
  };
  const std::vector<std::string> names = {
      "20240210x#001_001.pml",   "20240210x#001_002.pml",        "20240211y#000_001.pml",
      "20240214x#001_001.pml",   "20240228z#010_001.pml",        "20050131x#001_001.pml",
      "20999999x#001_001.pml",   "20240301x#001_001.pml",        "foreign name.pml",
      "20240210a#b#001_001.pml", std::string(250, 'l') + ".pml", "notes.txt"};
  size_t planned_in_all = 0;
  for (int tree = 0; tree < 15; ++tree) {
    SCOPED_TRACE("tree " + std::to_string(tree));
    for (const char* top : {"pml", "root/.trace3"}) {
      std::filesystem::remove_all(directory.Path(top));
      directory.MakeDirectory(top);
    }
    for (const char* place : {"pml/00/", "pml/00/", "pml/A7/", "root/.trace3/"}) {
      for (int file = pick(0, 9); file > 0; --file) {
        const std::string& name = names[static_cast<size_t>(pick(0, 11))];
        if (!directory.Exists(place + name)) AddPml(place + name, size_t{1000} * pick(0, 300));
      }
    }
    if (pick(1, 5) == 1 && directory.Exists("pml/00") && !directory.Exists("pml/00/dead.pml")) {
      std::filesystem::create_symlink("nowhere", directory.Path("pml/00/dead.pml"));
    }
    if (pick(1, 5) == 1) directory.MakeDirectory("pml/A7/directory.pml");
    std::vector<std::string> planned;
    Compare(std::to_string(pick(0, 1)), std::to_string(pick(0, 20)), std::to_string(pick(0, 6)),
            pick(1, 2), planned);
    if (HasFatalFailure()) return;
    planned_in_all += planned.size();
  }
  EXPECT_GT(planned_in_all, 50u);
}

TEST_F(PrefixPsltoolPlanPruning, EmbeddedVolumeAsTheRunDoesIt) {
  for (int day = 10; day <= 14; ++day) {
    AddPml("pml/00/202402" + std::to_string(day) + "x#001_001.pml", 400 * 1024);
    AddPml("root/.trace3/202403" + std::to_string(day) + "x#001_001.pml");
  }
  std::vector<std::string> planned;
  Compare("1", "0", "0", 1, planned);
  EXPECT_THAT(planned,
              UnorderedElementsAre(
                  "pml/00/20240210x#001_001.pml", "pml/00/20240211x#001_001.pml",
                  "pml/00/20240212x#001_001.pml", "root/.trace3/20240310x#001_001.pml",
                  "root/.trace3/20240311x#001_001.pml", "root/.trace3/20240312x#001_001.pml",
                  "root/.trace3/20240313x#001_001.pml"));
}

TEST_F(PrefixPsltoolPlanPruning, MissingDirectoriesAreToldAndNotMade) {
  AddPml("root/.trace3/20240310x#001_001.pml");
  AddPml("root/.trace3/20240311x#001_001.pml");
  const json plan =
      JsonPlan({"--auto2", "1", "0", "0", "--capacity", "100"}, "2024-03-05 00:30", "yes");
  EXPECT_FALSE(directory.Exists("pml/00"));
  EXPECT_THAT(std::string(plan.at("notes").dump()), HasSubstr("pml/00"));
}

}  // namespace
