// Directories in the place of files: every command that takes files takes the logs and archives in
// and below a directory, in one order, and leaves out what is hidden or in progress.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

class PsltoolDirectories : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(Psltool({"make", "-q", "--interval", "3600", "--days", "3", "--ld", "2", "--pd", "2",
                       "-o", "d"})
                  .status,
              0);
    // By path "d/20240306..." stands behind "d/below/...": sorted by bytes, digits come first.
    dir_.MakeDirectory("d/below");
    std::filesystem::rename(dir_.Path("d/20240304array01.psl"),
                            dir_.Path("d/below/20240304array01.psl"));
    const std::string log = dir_.Read("d/20240305array01.psl");
    dir_.MakeDirectory("d/.units");
    dir_.MakeDirectory("d/c.psl");
    for (const char* name : {"d/.units/20240305array01.psl", "d/.hidden.psl", "d/x.psa_tmp.psa",
                             "d/20240305array01.psa_tmp", "d/x.psl.12.part", "d/notes.txt"}) {
      dir_.Write(name, log);
    }
  }
  ProgramResult Psltool(const std::vector<std::string>& arguments) const {
    return RunProgram(PSLTOOL_PATH, arguments, {dir_.Path(), {}});
  }
  // The same command over the files of the directory, in their order.
  void ExpectSame(const std::vector<std::string>& command) const {
    std::vector<std::string> over_directory = command;
    over_directory.emplace_back("d");
    std::vector<std::string> over_files = command;
    over_files.insert(over_files.end(), {"d/20240305array01.psl", "d/20240306array01.psl",
                                         "d/below/20240304array01.psl"});
    const ProgramResult expected = Psltool(over_files);
    const ProgramResult result = Psltool(over_directory);
    EXPECT_EQ(expected.status, 0) << command[0] << expected.err;
    EXPECT_EQ(result.status, 0) << command[0] << result.err;
    EXPECT_EQ(result.out, expected.out) << command[0];
    EXPECT_NE(result.out, "") << command[0];
  }

  TempDir dir_;
};

TEST_F(PsltoolDirectories, EveryCommandThatTakesFilesTakesADirectory) {
  ExpectSame({"check"});
  ExpectSame({"info"});
  ExpectSame({"info", "--json"});
  ExpectSame({"show", "--key", "1"});
  ExpectSame({"top"});
  ExpectSame({"export", "--to", "csv"});
  ExpectSame({"dump", "--kind", "ld"});
  ExpectSame({"export", "--to", "openmetrics"});
}

// What is named is taken, whatever its name.
// Rows do not tell their file, and other revisions have other columns.
TEST_F(PsltoolDirectories, DumpsForProgramsAreOfOneFile) {
  for (const char* format : {"csv", "ndjson"}) {
    const ProgramResult several = Psltool({"dump", "--format", format, "d"});
    EXPECT_EQ(several.status, 2);
    EXPECT_EQ(several.out, "");
    EXPECT_EQ(several.err, std::string("psltool: dump: 3 files: ") + format +
                               " is of one file; psltool export takes any number\n");
    const ProgramResult one = Psltool({"dump", "--format", format, "d/below"});
    EXPECT_EQ(one.status, 0) << one.err;
    EXPECT_EQ(one.out, Psltool({"dump", "--format", format, "d/below/20240304array01.psl"}).out);
  }
}

TEST_F(PsltoolDirectories, SalvageSavesEachFileUnderItsName) {
  const std::string log = dir_.Read("d/20240305array01.psl");
  dir_.Write("d/20240305array01.psl", log.substr(0, log.size() - 5));
  const ProgramResult nowhere = Psltool({"salvage", "d", "-o", "saved"});
  EXPECT_EQ(nowhere.status, 2);
  EXPECT_NE(nowhere.err.find("saved: is no directory"), std::string::npos) << nowhere.err;
  dir_.MakeDirectory("saved");
  const ProgramResult result = Psltool({"salvage", "d", "-o", "saved"});
  EXPECT_EQ(result.status, 0) << result.err;
  for (const char* name : {"20240304array01.psl", "20240306array01.psl"}) {
    const std::string below = std::string(name) == "20240304array01.psl" ? "d/below/" : "d/";
    EXPECT_EQ(dir_.Read(std::string("saved/") + name), dir_.Read(below + name)) << name;
  }
  EXPECT_EQ(Psltool({"check", "saved"}).status, 0);
  EXPECT_LT(dir_.Read("saved/20240305array01.psl").size(), log.size());
}

TEST_F(PsltoolDirectories, HiddenNamesAreTakenWhenTheyAreNamed) {
  EXPECT_NE(Psltool({"check", "d/.hidden.psl", "d/.units"}).out.find("2 files, 0 with findings"),
            std::string::npos);
}

TEST_F(PsltoolDirectories, ADirectoryWithoutFilesIsTold) {
  dir_.MakeDirectory("empty/.below");
  dir_.Write("empty/.below/20240305array01.psl", "x");
  for (const std::vector<std::string>& command : {std::vector<std::string>{"check"},
                                                  {"info"},
                                                  {"show"},
                                                  {"top"},
                                                  {"export", "--to", "csv"}}) {
    std::vector<std::string> arguments = command;
    arguments.emplace_back("empty");
    const ProgramResult result = Psltool(arguments);
    EXPECT_EQ(result.status, 2) << command[0];
    EXPECT_EQ(result.out, "") << command[0];
    EXPECT_EQ(result.err, "psltool: empty: holds no log (.psl) and no archive (.psa)\n");
  }
}

TEST_F(PsltoolDirectories, HelpSaysSo) {
  for (const char* name : {"check", "info", "show", "top", "dump", "export"}) {
    const std::string help = Psltool({name, "--help"}).out;
    EXPECT_NE(help.find("or directories with .psl and .psa"), std::string::npos) << help;
  }
}

}  // namespace
