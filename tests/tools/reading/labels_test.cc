// Names that a site gives to counter groups and resources: which file is taken, and where the names
// stand then.
#include "tools/reading/labels.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/lines.h"
#include "tests/support/process.h"
#include "tests/support/tempdir.h"
#include "tests/support/tools/dump_run.h"

using namespace psltool;

namespace {

using nlohmann::json;

constexpr const char* kFile =
    "# what our collectors count\n"
    "\n"
    "group ld 1 random reads\n"
    "  group\tld 2   Schreiben, \"groß\" \r\n"
    "group wait-time 1 waits\n"
    "resource array01 ld 258 mail store\n"
    "resource * ld 7 scratch\n"
    "resource array01 ld 7 swap\n"
    "resource * hpnode 0.1.2 east\n"
    "resource * cheseg 3 first\n"
    "resource * cab 1.512 basement\n"
    "resource * ld-cp 0.1.0.0 pair\n";

TEST(Labels, AreFoundByKindAndNumber) {
  TempDir dir;
  dir.Write("labels", kFile);
  Labels labels;
  ASSERT_TRUE(labels.Read(dir.Path("labels")));
  EXPECT_FALSE(labels.empty());
  EXPECT_EQ(labels.OfGroup("ld", 1), "random reads");
  EXPECT_EQ(labels.OfGroup("ld", 2), "Schreiben, \"groß\"");
  EXPECT_EQ(labels.OfGroup("ld", 3), "");
  EXPECT_EQ(labels.OfGroup("pd", 1), "");
  EXPECT_TRUE(labels.NameGroup(2));
  EXPECT_FALSE(labels.NameGroup(3));
  EXPECT_EQ(labels.OfResource("array01", "ld", "258"), "mail store");
  EXPECT_EQ(labels.OfResource("array02", "ld", "258"), "");
  EXPECT_EQ(labels.OfResource("array02", "hpnode", "0.1.2"), "east");
  // The array's own name goes before that of all arrays, wait times are those of a disk.
  EXPECT_EQ(labels.OfResource("array01", "ld", "7"), "swap");
  EXPECT_EQ(labels.OfResource("array02", "ld", "7"), "scratch");
  EXPECT_EQ(labels.OfResource("array01", "wait-time", "7"), "swap");
  EXPECT_TRUE(labels.NameResourcesOf("cheseg"));
  EXPECT_TRUE(labels.NameResourcesOf("wait-time"));
  EXPECT_FALSE(labels.NameResourcesOf("pd"));
  Labels none;
  EXPECT_TRUE(none.Read(""));
  EXPECT_TRUE(none.empty());
}

TEST(Labels, ABadLineIsRefusedWithFileAndNumber) {
  const struct {
    std::string line;
    std::string trouble;
  } kBad[] = {
      {"name ld 1 x", "the line begins with neither \"group\", \"resource\" nor \"unit\""},
      {"group disk 1 x", "\"disk\" is no kind of resources"},
      {"group", "\"\" is no kind of resources"},
      {"group hd 1 x", "hd has no counter groups"},
      {"group ld 6 x", "\"6\" is no counter group of ld, which has 5"},
      {"group ld 0 x", "\"0\" is no counter group of ld, which has 5"},
      {"group ld 01 x", "\"01\" is no counter group of ld, which has 5"},
      {"group cache 7 x", "\"7\" is no counter group of cache, which has 6"},
      {"group ld 3", "the name is missing"},
      {"group ld 2 again", "the group is named in line 2 already"},
      {"resource * ld 0x15 x", "\"0x15\" is no key of ld"},
      {"resource * ld 65536 x", "\"65536\" is no key of ld"},
      {"resource * ld 021 x", "\"021\" is no key of ld"},
      {"resource * pd 1 x", "\"1\" is no key of pd"},
      {"resource * pd 1. x", "\"1.\" is no key of pd"},
      {"resource * pd 1.256 x", "\"1.256\" is no key of pd"},
      {"resource * hpnode 1.2.3.4 x", "\"1.2.3.4\" is no key of hpnode"},
      {"resource ld 1 x", "\"1\" is no kind of resources"},
      {"resource * ld 1", "the name is missing"},
      {"resource array01 ld 1 again", "the resource is named in line 1 already"},
      {"group ld 3 \x1b[31m", "the name holds a control character"},
      {"group ld 3 a\xC2\x9B", "the name holds a control character"},
      {"group ld 3 \xff", "the name is no UTF-8"},
      {"group ld 3 \xed\xa0\x80", "the name is no UTF-8"},
      {"group ld 3 \xc3", "the name is no UTF-8"},
      {"group ld 3 " + std::string(65, 'x'), "the name has more than 64 bytes"},
  };
  TempDir dir;
  for (const auto& [line, trouble] : kBad) {
    dir.Write("labels", "resource array01 ld 1 x\ngroup ld 2 x\n" + line + "\n");
    Labels labels;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(labels.Read(dir.Path("labels"))) << line;
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "psltool: " + dir.Path("labels") + ":3: " + trouble + "\n");
  }
  for (const auto& [path, why] :
       {std::pair(dir.Path(), "Is a directory"), {dir.Path("none"), "No such file or directory"}}) {
    Labels labels;
    testing::internal::CaptureStderr();
    EXPECT_FALSE(labels.Read(path));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "psltool: " + path + ": cannot be read: " + why + "\n");
  }
}

class PsltoolLabels : public testing::Test {
 protected:
  void SetUp() override {
    dir_.Write("20240101array01.psl", DiskFile());
    dir_.Write("labels", kFile);
  }
  std::string File() const { return dir_.Path("20240101array01.psl"); }
  std::string Names() const { return dir_.Path("labels"); }

  TempDir dir_;
};

TEST_F(PsltoolLabels, DumpNamesGroupsAndResources) {
  const std::vector<std::string> table =
      Lines(Dump(File(), {"--kind", "ld", "--labels", Names()}).out);
  EXPECT_NE(table[0].find(" key name "), std::string::npos) << table[0];
  EXPECT_NE(table[1].find(" 258 mail store "), std::string::npos) << table[1];
  EXPECT_NE(table[1].find("    1 random reads  "), std::string::npos) << table[1];
  EXPECT_NE(table[2].find("    2 Schreiben, \"groß\" "), std::string::npos) << table[2];
  EXPECT_EQ(table[0].find("ops/s"), table[1].find("1.14") - 1);
  const std::vector<std::string> csv = Lines(
      Dump(File(), {"--kind", "ld", "--key", "7", "--labels", Names(), "--format", "csv"}).out);
  EXPECT_TRUE(csv[0].ends_with(",name,g1_name,g2_name")) << csv[0];
  EXPECT_TRUE(csv[1].ends_with(",swap,random reads,\"Schreiben, \"\"groß\"\"\"")) << csv[1];
  const json entry = json::parse(
      Dump(File(), {"--kind", "ld", "--key", "8", "--labels", Names(), "--format", "ndjson"}).out);
  EXPECT_EQ(entry["name"], "");
  EXPECT_EQ(entry["g1_name"], "random reads");
  EXPECT_FALSE(entry.contains("g3_name"));
}

TEST_F(PsltoolLabels, TheEnvironmentStandsForTheOption) {
  const std::vector<std::string> arguments = {"dump", File(), "--kind", "ld", "--format", "csv"};
  const std::string plain = RunProgram(PSLTOOL_PATH, arguments).out;
  const std::string named =
      RunProgram(PSLTOOL_PATH, arguments, {"", {{"PSLTOOL_LABELS", Names()}}}).out;
  EXPECT_EQ(plain.find("mail store"), std::string::npos);
  EXPECT_NE(named.find("mail store"), std::string::npos);
}

// Every command that prints resources and groups prints their names.
TEST_F(PsltoolLabels, ShowAndTopNameThemToo) {
  const auto run = [&](std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--utc", "--labels", Names(), File()});
    const ProgramResult result = RunProgram(PSLTOOL_PATH, arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  };
  const std::string show = Lines(run({"show", "--key", "258"})).at(0);
  EXPECT_TRUE(show.ends_with("ld 258 (mail store), counter group 1 of 5 (random reads)")) << show;
  const json history = json::parse(run({"show", "--key", "258", "--json", "--group", "3"}));
  EXPECT_EQ(history["group_name"], "");
  EXPECT_EQ(history["files"][0]["name"], "mail store");
  const std::vector<std::string> top = Lines(run({"top", "--by", "busy"}));
  EXPECT_NE(top.at(0).find(", counter group 1 (random reads), "), std::string::npos) << top[0];
  EXPECT_NE(top.at(1).find(" key name "), std::string::npos) << top[1];
  EXPECT_NE(top.at(2).find(" 258 mail store "), std::string::npos) << top[2];
  const json ranked = json::parse(run({"top", "--by", "busy", "--json"}));
  EXPECT_EQ(ranked["group_name"], "random reads");
  EXPECT_EQ(ranked["resources"][0]["name"], "mail store");
}

TEST_F(PsltoolLabels, ExplainAndAuditNameThemToo) {
  const ProgramSettings here = {dir_.Path(), {{"PSLTOOL_LABELS", Names()}}};
  dir_.Write("labels", "group ld 1 random reads\nresource array01 ld 1 mail store\n");
  ASSERT_EQ(
      RunProgram(PSLTOOL_PATH, {"make", "-q", "--none", "--ld", "2", "--interval", "3600"}, here)
          .status,
      0);
  ASSERT_EQ(RunProgram(QELPRFARC_PATH, {"20240304array01.psl"}, here).status, 0);
  const std::vector<std::string> explain = {
      "explain", "--archive",        "20240304array01.psa", "--kind", "ld", "--key", "1",
      "--at",    "2024-03-04 10:10", "20240304array01.psl"};
  const std::string text = RunProgram(PSLTOOL_PATH, explain, here).out;
  EXPECT_NE(text.find(", ld 1 (mail store)\n"), std::string::npos) << text;
  EXPECT_NE(text.find("\ngroup 1 (random reads)\n"), std::string::npos) << text;
  std::vector<std::string> as_json = explain;
  as_json.emplace_back("--json");
  const json explained = json::parse(RunProgram(PSLTOOL_PATH, as_json, here).out);
  EXPECT_EQ(explained["name"], "mail store");
  EXPECT_EQ(explained["group_name"], "random reads");
  // A changed maximum of the first group.
  const std::vector<std::string> entries =
      Lines(RunProgram(PSLTOOL_PATH,
                       {"dump", "20240304array01.psa", "--kind", "ld", "--key", "1", "--raw",
                        "--format", "ndjson"},
                       here)
                .out);
  const size_t at = json::parse(entries.at(0))["offset"];
  std::string archive = dir_.Read("20240304array01.psa");
  archive[at + 16 + 8] = '\x7f';
  dir_.Write("20240304array01.psa", archive);
  const std::string audit =
      RunProgram(PSLTOOL_PATH, {"audit", "--archive", "20240304array01.psa", "20240304array01.psl"},
                 here)
          .out;
  EXPECT_NE(audit.find(", ld 1 (mail store), g1_max (random reads): stored "), std::string::npos)
      << audit;
  const json audited = json::parse(
      RunProgram(PSLTOOL_PATH,
                 {"audit", "--json", "--archive", "20240304array01.psa", "20240304array01.psl"},
                 here)
          .out);
  EXPECT_EQ(audited["archives"][0]["findings"][0]["name"], "mail store");
  EXPECT_EQ(audited["archives"][0]["findings"][0]["group_name"], "random reads");
}

TEST_F(PsltoolLabels, ABadFileEndsTheCommand) {
  dir_.Write("labels", "group ld 9 x\n");
  const ProgramResult result = Dump(File(), {"--labels", Names()});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err,
            "psltool: " + Names() + ":1: \"9\" is no counter group of ld, which has 5\n");
}

}  // namespace
