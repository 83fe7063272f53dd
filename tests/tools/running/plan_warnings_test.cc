// psltool plan: what it warns of in a tree that is to be pruned, what the run frees, and whether
// the data of what goes are archived.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/runs/nights.h"
#include "tests/support/tools/plan_fixture.h"

namespace {

using nlohmann::json;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class PlanWarnings : public PsltoolPlan {
 protected:
  void AddPml(const std::string& name, size_t size = 10) const {
    const std::string path = directory.Path(name);
    std::filesystem::create_directories(path.substr(0, path.rfind('/')));
    directory.Write(name, std::string(size, 'x'));
  }
  static std::string Name(int date, const std::string& array = "x") {
    return std::to_string(date) + array + "#001_001.pml";
  }

  // Warnings of a pruning on 5 March 2024.
  std::vector<std::string> Warnings(const std::vector<std::string>& numbers,
                                    const std::string& override_value = "",
                                    const std::vector<std::string>& more = {}) const {
    std::vector<std::string> arguments = {"--auto2"};
    arguments.insert(arguments.end(), numbers.begin(), numbers.end());
    arguments.insert(arguments.end(), more.begin(), more.end());
    return JsonPlan(arguments, "2024-03-05 00:30", override_value).at("warnings");
  }
};

TEST_F(PlanWarnings, AHealthyTreeHasNone) {
  for (int day = 20; day <= 29; ++day) AddPml("pml/00/" + Name(20240200 + day));
  for (int day = 1; day <= 4; ++day) AddPml("pml/00/" + Name(20240300 + day));
  EXPECT_THAT(Warnings({"0", "7", "0"}), IsEmpty());
  EXPECT_THAT(Warnings({"0", "0", "3"}), IsEmpty());
  const std::string text = Plan({"--auto2", "0", "7", "0"}).out;
  EXPECT_THAT(text, Not(HasSubstr("WARNING")));
  EXPECT_THAT(text, HasSubstr("pruning, mode 3: 7 files, 70 bytes freed\n"));
}

TEST_F(PlanWarnings, DaysGoBackFromTheNewestFileAndThatOldGoesToo) {
  for (int day = 1; day <= 12; ++day) AddPml("pml/0A/" + Name(20240200 + day));
  EXPECT_THAT(Warnings({"0", "7", "0"}),
              ElementsAre("0A: its newest log is dated 2024-02-12, 22 days ago; days are counted "
                          "back from there, not from today; 5 of 12 logs go"));
  const json step = JsonPlan({"--auto2", "0", "7", "0"}).at("prune").at(0);
  const std::string directory_path = directory.Path("pml/0A/");
  EXPECT_EQ(ReasonOf(step.at("files"), directory_path + Name(20240205)),
            "delete: exactly 7 days before the newest of its directory");
  EXPECT_EQ(ReasonOf(step.at("files"), directory_path + Name(20240204)),
            "delete: more than 7 days before the newest of its directory");
}

TEST_F(PlanWarnings, OneStrayDateDeletesEverythingBesideIt) {
  for (int day = 1; day <= 4; ++day) AddPml("pml/00/" + Name(20240300 + day));
  AddPml("pml/00/" + Name(20999999));
  EXPECT_THAT(Warnings({"0", "7", "0"}),
              ElementsAre("00: its newest log is dated 2099-99-99, which is no date; days are "
                          "counted back from there; all 5 logs go, the newest included"));
  std::filesystem::remove(directory.Path("pml/00/" + Name(20999999)));
  AddPml("pml/00/" + Name(20310101));
  EXPECT_THAT(Warnings({"0", "7", "0"}),
              ElementsAre("00: its newest log is dated 2031-01-01, after today; days are counted "
                          "back from there; 4 of 5 logs go"));
}

TEST_F(PlanWarnings, DatesOf2000To2009DeleteEverything) {
  AddPml("pml/1F/" + Name(20051230));
  AddPml("pml/1F/" + Name(20051231));
  EXPECT_THAT(
      Warnings({"0", "7", "0"}),
      ElementsAre("1F: its newest log is dated 2005-12-31: dates of 2000 to 2009 are cut at "
                  "the wrong places, and the limit lies far off; all 2 logs go, the newest "
                  "included"));
}

TEST_F(PlanWarnings, NamesOfAnotherFormAlwaysGo) {
  AddPml("pml/00/" + Name(20240304));
  AddPml("pml/00/" + Name(20240304, std::string(32, 'a')));
  AddPml("pml/00/" + Name(20240304, std::string(33, 'a')));
  AddPml("pml/00/" + Name(20240303, std::string(33, 'a')));
  AddPml("pml/00/" + Name(20240304, "a#b"));
  AddPml("pml/00/abc.pml");
  AddPml("pml/00/20240304.pml");
  AddPml("pml/00/20240304a#1_1.pml");
  const std::string goes = " with every task, whatever the age, one being written included: ";
  const std::string at = directory.Path("pml/00/");
  const std::vector<std::string> warnings = Warnings({"0", "7", "0"});
  EXPECT_EQ(warnings.size(), 5u);
  EXPECT_THAT(warnings, Contains(HasSubstr("2 files go" + goes +
                                           "the array's name has more than 32 characters (")));
  EXPECT_THAT(warnings,
              Contains("1 file goes" + goes + "the array's name has a \"#\" (the first: " + at +
                       Name(20240304, "a#b") + ")"));
  EXPECT_THAT(warnings, Contains("1 file goes" + goes +
                                 "the name does not begin with a date (the "
                                 "first: " +
                                 at + "abc.pml)"));
  EXPECT_THAT(warnings, Contains(HasSubstr("the name has no \"#\" behind an array's name")));
  EXPECT_THAT(warnings, Contains(HasSubstr("the name does not end in \"#nnn_nnn.pml\"")));
}

TEST_F(PlanWarnings, SevenFilesStayAndOfEightAllMayGo) {
  for (int day = 1; day <= 7; ++day) AddPml("pml/00/" + Name(20240200 + day));
  const json plan = JsonPlan({"--auto2", "0", "0", "100"});
  EXPECT_THAT(plan.at("prune").at(0).at("files"), IsEmpty());
  EXPECT_THAT(plan.at("notes").dump(), HasSubstr("7 files are there: of up to 7 nothing is deleted "
                                                 "by number, of more any number may go"));
  AddPml("pml/00/" + Name(20240208));
  EXPECT_THAT(Warnings({"0", "0", "100"}), ElementsAre("all 8 logs go, the newest included: of 8 "
                                                       "and more files any number may go"));
  EXPECT_THAT(Warnings({"0", "0", "7"}), IsEmpty());
}

TEST_F(PlanWarnings, ADeadLinkStopsEveryRun) {
  for (int day = 1; day <= 9; ++day) AddPml("pml/00/" + Name(20240200 + day));
  const std::string link = directory.Path("pml/00/" + Name(20240304));
  std::filesystem::create_symlink("nowhere", link);
  const std::string warning =
      link + " is a link to nowhere: every run stops there and prunes nothing";
  EXPECT_THAT(Warnings({"0", "7", "3"}), ElementsAre(warning));
  EXPECT_THAT(Plan({"--auto2", "0", "7", "3"}).out, HasSubstr("WARNING: " + warning + "\n"));
}

TEST_F(PlanWarnings, AStagedLogReplacesOneOfItsName) {
  AddPml("pml/00/" + Name(20240301));
  for (int day = 1; day <= 4; ++day) AddPml("root/.trace3/" + Name(20240300 + day));
  const std::string yes =
      "QelPMON_EMBSYSVOL is \"yes\" here: a run that finds it so takes volumes for mounted, "
      "whatever is there";
  const std::string taken = directory.Path("pml/00/");
  EXPECT_THAT(Warnings({"1", "0", "0"}, "yes", {"--capacity", "100"}),
              ElementsAre(yes, taken + Name(20240301) +
                                   " is there already, and is replaced by the "
                                   "staged log of that name"));
  std::filesystem::remove(taken + Name(20240301));
  std::filesystem::create_directory(taken + Name(20240302));
  EXPECT_THAT(Warnings({"1", "0", "0"}, "yes", {"--capacity", "100"}),
              Contains(taken + Name(20240302) +
                       " is a directory: a log of that name cannot be "
                       "moved, and every run stops there"));
}

TEST_F(PlanWarnings, ForeignFilesOfAVolumeDoNotCountAsRoom) {
  for (int day = 1; day <= 4; ++day) AddPml("pml/00/" + Name(20240300 + day), 400 * 1024);
  AddPml("pml/00/big.pml", 800 * 1024);
  const std::vector<std::string> warnings = Warnings({"1", "0", "0"}, "yes", {"--capacity", "1"});
  EXPECT_THAT(warnings,
              Contains("files of other names that go hold 800.0 KiB, which does not count "
                       "as freed: more logs go than the volume asks for"));
}

TEST_F(PlanWarnings, TheOverrideStopsEverything) {
  for (int day = 1; day <= 9; ++day) AddPml("pml/00/" + Name(20240200 + day));
  EXPECT_THAT(
      Warnings({"0", "7", "0"}, "no"),
      ElementsAre("QelPMON_EMBSYSVOL is \"no\" here: a run that finds it so prunes nothing, "
                  "not by age or number either"));
  EXPECT_THAT(Warnings({"0", "7", "0"}, "maybe"), Not(Contains(HasSubstr("QelPMON"))));
}

TEST_F(PlanWarnings, AnEmptyDirectoryOfTheConfigurationIsNotPruned) {
  SegmentBytes segment;
  segment.PutDirectories(directory.Path("root"), directory.Path("arc"), "");
  const SharedSegment shared(segment);
  const ProgramResult result =
      RunProgram(PSLTOOL_PATH, {"plan", "--segment", shared.Id(), "--auto2", "0", "7", "0"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_THAT(result.out, HasSubstr("WARNING: the PML directory of the configuration is empty, or "
                                    "the root directory: nothing is pruned\n"));
  EXPECT_THAT(result.out, HasSubstr("fails: opendir"));
}

// --- What removal frees ----------------------------------------------------------------------------

TEST_F(PlanWarnings, RemovalTellsBytesAndWhereTheDataAre) {
  const uint32_t day = 86400;
  const uint32_t march1 = 1709251200;
  for (const char* name : {"20240101a.psl", "20240102a#001.psl", "20240103a.psl", "20240104a.psl",
                           "20240105b.psl", "20240106a.psl", "20240107c.psl"}) {
    AddLog(name, march1 - 60 * day);
  }
  AddArchive("20240101a.psa", 'H');
  AddArchive("20240102a.psa", 'H');
  directory.Write("arc/archive/20240103a.psa");  // empty: its log was broken
  AddArchive("202401b.psa", 'D');
  directory.Write("arc/archive/20240107c.psa");
  AddArchive("202401c.psa", 'D');
  AddArchive("20240106a.psa", 'H');
  AddArchive("20230101a.psa", 'H');
  AddArchive("20230101b.psa", 'H');
  AddArchive("202301a.psa", 'D');
  directory.Write("arc/Qelprf.A", "12345");
  const std::vector<std::string> options = {"--keep-psl", "30d",         "--keep-hour",
                                            "6m",         "--archiving", "off"};
  const json plan = JsonPlan(options);
  const auto archive_of = [&](const std::string& path) -> json {
    for (const json& file : plan.at("remove")) {
      if (file.at("path") == path) return file.value("archive", json("not asked"));
    }
    return "not removed";
  };
  EXPECT_EQ(archive_of("20240101a.psl"), "archive/20240101a.psa");
  EXPECT_EQ(archive_of("20240102a#001.psl"), "archive/20240102a.psa");
  EXPECT_EQ(archive_of("20240103a.psl"), json()) << "an empty archive holds nothing";
  EXPECT_EQ(archive_of("20240104a.psl"), json());
  EXPECT_EQ(archive_of("20240107c.psl"), json()) << "its month was made without it";
  EXPECT_EQ(archive_of("20240105b.psl"), "archive/202401b.psa");
  EXPECT_EQ(archive_of("archive/20230101a.psa"), "archive/202301a.psa");
  EXPECT_EQ(archive_of("archive/20230101b.psa"), json());
  EXPECT_EQ(archive_of("Qelprf.A"), "not asked");
  int64_t bytes = 0;
  for (const json& file : plan.at("remove")) {
    const std::string path = file.at("path");
    EXPECT_EQ(file.at("bytes"), std::filesystem::file_size(directory.Path("arc/" + path))) << path;
    bytes += file.at("bytes").get<int64_t>();
  }
  EXPECT_EQ(plan.at("bytes_freed"), bytes);
  EXPECT_EQ(plan.at("warnings").size(), 2u);
  EXPECT_THAT(plan.at("warnings").dump(),
              HasSubstr("1 hour archive goes without an archive of the month; the first is "
                        "archive/20230101b.psa"));
  EXPECT_THAT(plan.at("warnings").dump(),
              HasSubstr("3 logs go without an archive of the day or its month; the first is "));
  const std::string text = Plan(options).out;
  EXPECT_THAT(text, HasSubstr("limit 30 days; in archive/20240101a.psa\n"));
  EXPECT_THAT(text, HasSubstr("limit 30 days; NOT ARCHIVED\n"));
  EXPECT_THAT(text, HasSubstr("removal: 10 files, "));
}

// What the run archives first is there when its log goes.
TEST_F(PlanWarnings, AnArchiveThatTheRunMakesCounts) {
  MakeLogs(directory.Path("arc/"), {"--name", "a", "--start", "2024-01-01", "--days", "2"});
  std::filesystem::resize_file(directory.Path("arc/20240102a.psl"), 3000);
  const json plan = JsonPlan({"--keep-psl", "30d"});
  bool found = false;
  for (const json& file : plan.at("remove")) {
    const bool sound = file.at("path") == "20240101a.psl";
    found = found || sound;
    EXPECT_EQ(file.at("archive"), sound ? json("archive/20240101a.psa") : json()) << file;
  }
  EXPECT_TRUE(found);
}

// --- Reading --------------------------------------------------------------------------------------

// A broken log was taken for sound unless "--read" was given.
TEST_F(PlanWarnings, InputsAreReadUnlessNotWanted) {
  MakeLogs(directory.Path("arc/"), {"--name", "a", "--start", "2024-03-03"});
  std::filesystem::resize_file(directory.Path("arc/20240303a.psl"), 3000);
  const auto trouble = [&](const std::vector<std::string>& options) {
    return std::string(JsonPlan(options).at("runs").at(0).at("outputs").at(0).at("trouble"));
  };
  EXPECT_THAT(trouble({}), HasSubstr("20240303a.psl is broken"));
  EXPECT_EQ(trouble({"--read"}), trouble({}));
  EXPECT_EQ(trouble({"--no-read"}), "");
}

}  // namespace
