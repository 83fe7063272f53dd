// Moving a file with the system's move command: what the shell gets to see, and what it must not.
#include <csignal>

#include "tests/pml_tree.h"

namespace {

std::string seen_command;

class PmlMove : public pml_test::PmlTree {};

TEST_F(PmlMove, RunsTheMoveCommandWithBothPathsQuoted) {
  pml_system.run_command = [](const char* command) {
    seen_command = command;
    return 0;
  };
  uint32_t detail = 77;
  EXPECT_EQ(move_chink_pml("/a/b.pml", "/c/00", &detail), 0);
  EXPECT_EQ(seen_command, "/bin/mv -f '/a/b.pml' '/c/00' > /dev/null 2> /dev/null");
  EXPECT_EQ(detail, 77u);
}

TEST_F(PmlMove, AnyOtherStatusIsAFailureWithoutDetail) {
  uint32_t detail = 77;
  pml_system.run_command = [](const char*) { return 256; };
  EXPECT_EQ(move_chink_pml("/a", "/b", &detail), 4);
  EXPECT_EQ(detail, 0u);
  pml_system.run_command = [](const char*) { return -1; };
  EXPECT_EQ(move_chink_pml("/a", "/b", &detail), 4);
}

TEST_F(PmlMove, NullArgumentsAreNamed) {
  uint32_t detail = 0;
  EXPECT_EQ(move_chink_pml("/a", "/b", nullptr), 5);
  EXPECT_EQ(move_chink_pml(nullptr, "/b", &detail), 5);
  EXPECT_EQ(detail, 0x01B00024u);
  EXPECT_EQ(move_chink_pml("/a", nullptr, &detail), 5);
  EXPECT_EQ(detail, 0x01B00025u);
  EXPECT_EQ(move_chink_pml(nullptr, nullptr, &detail), 5);
  EXPECT_EQ(detail, 0x01B00024u);
}

TEST_F(PmlMove, NoCharacterOfANameReachesTheShell) {
  const std::string target = Dir(0);
  std::filesystem::create_directories(target);
  const std::string touched = root_ + "/touched";
  const std::vector<std::string> names = {"a b.pml",
                                          "a'b.pml",
                                          "''.pml",
                                          "a\"b.pml",
                                          "a;b.pml",
                                          "a\nb.pml",
                                          "$HOME.pml",
                                          "`touch touched`.pml",
                                          "*.pml",
                                          "a\\b.pml",
                                          "-t.pml",
                                          "a&b|c<d>e.pml",
                                          "#a.pml",
                                          "~.pml",
                                          "!x.pml",
                                          "\xff\xfe.pml",
                                          "$(touch touched).pml",
                                          "'; touch touched; '.pml",
                                          "'$(touch touched)'.pml",
                                          "\t.pml"};
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(root_);
  for (const std::string& name : names) {
    SCOPED_TRACE(name);
    Stage(name);
    uint32_t detail = 0;
    EXPECT_EQ(move_chink_pml((staging_ + "/" + name).c_str(), target.c_str(), &detail), 0);
    EXPECT_TRUE(std::filesystem::exists(target + "/" + name));
  }
  EXPECT_FALSE(std::filesystem::exists(touched));
  EXPECT_TRUE(NamesIn(staging_).empty());
  EXPECT_EQ(NamesIn(target).size(), names.size());
  std::filesystem::current_path(before);
}

TEST_F(PmlMove, ARelativePathIsNeverTakenForAnOption) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(root_);
  Put(root_ + "/-f.pml");
  std::filesystem::create_directories(root_ + "/-t");
  uint32_t detail = 0;
  EXPECT_EQ(move_chink_pml("-f.pml", "-t", &detail), 0);
  EXPECT_TRUE(std::filesystem::exists(root_ + "/-t/-f.pml"));
  std::filesystem::current_path(before);
}

TEST_F(PmlMove, ReplacesAFileButNotADirectoryOfThatName) {
  std::filesystem::create_directories(Dir(0) + "/taken.pml");
  PutIn(0, "old.pml", 1);
  Stage("taken.pml");
  Stage("old.pml", 5);
  uint32_t detail = 0;
  EXPECT_EQ(move_chink_pml((staging_ + "/taken.pml").c_str(), Dir(0).c_str(), &detail), 4);
  EXPECT_TRUE(std::filesystem::exists(staging_ + "/taken.pml"));
  EXPECT_EQ(move_chink_pml((staging_ + "/old.pml").c_str(), Dir(0).c_str(), &detail), 0);
  EXPECT_EQ(std::filesystem::file_size(Dir(0) + "/old.pml"), 5u);
}

// With SIGCHLD ignored, which survives exec, waiting for the command finds no child.
TEST_F(PmlMove, WorksForAParentThatIgnoresItsChildren) {
  std::filesystem::create_directories(Dir(0));
  Stage("a.pml");
  const auto previous = signal(SIGCHLD, SIG_IGN);
  uint32_t detail = 0;
  EXPECT_EQ(move_chink_pml((staging_ + "/a.pml").c_str(), Dir(0).c_str(), &detail), 0);
  EXPECT_EQ(signal(SIGCHLD, previous), SIG_IGN);
  EXPECT_TRUE(std::filesystem::exists(Dir(0) + "/a.pml"));
}

}  // namespace
