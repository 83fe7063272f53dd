// Moving a file: by a rename where that does it, else with the system's move command; what the
// shell then gets to see, and what it must not.
#include <cerrno>
#include <csignal>

#include "pmonb/pml_move.h"
#include "tests/pmonb/pml_tree.h"

namespace {

std::string seen_command;
int rename_error;

class PmlMove : public pml_test::PmlTree {
 protected:
  PmlMove() { seen_command.clear(); }

  // Every rename fails.
  static void FailRename(int error) {
    rename_error = error;
    pml_system.rename_file = [](const char*, const char*) {
      errno = rename_error;
      return -1;
    };
  }
  static void WatchCommands() {
    pml_system.run_command = [](const char* command) {
      seen_command = command;
      return system(command);
    };
  }
};

TEST_F(PmlMove, ARenameIsEnoughWhereTheNameIsFree) {
  std::filesystem::create_directories(Dir(0));
  Stage("a b.pml", 5);
  Stage("link", 7);
  std::filesystem::create_symlink("link", staging_ + "/linked.pml");
  WatchCommands();
  uint32_t detail = 77;
  EXPECT_EQ(move_chink_pml((staging_ + "/a b.pml").c_str(), Dir(0).c_str(), &detail), 0);
  EXPECT_EQ(move_chink_pml((staging_ + "/linked.pml").c_str(), (Dir(0) + "/").c_str(), &detail), 0);
  EXPECT_EQ(seen_command, "") << "no shell is started";
  EXPECT_EQ(detail, 77u);
  EXPECT_EQ(std::filesystem::file_size(Dir(0) + "/a b.pml"), 5u);
  EXPECT_TRUE(std::filesystem::is_symlink(Dir(0) + "/linked.pml"));
  EXPECT_EQ(NamesIn(staging_), std::set<std::string>{"link"});
}

TEST_F(PmlMove, AnyErrorOfTheRenameLeavesTheCommand) {
  std::filesystem::create_directories(Dir(0));
  WatchCommands();
  for (const int error : {EXDEV, EEXIST, EINVAL, ENOSYS, EPERM, EACCES, ENOENT, EIO}) {
    SCOPED_TRACE(error);
    const std::string name = "x" + std::to_string(error) + ".pml";
    Stage(name);
    FailRename(error);
    seen_command.clear();
    uint32_t detail = 77;
    const std::string source = staging_ + "/" + name;
    EXPECT_EQ(move_chink_pml(source.c_str(), Dir(0).c_str(), &detail), 0);
    EXPECT_EQ(seen_command,
              "/bin/mv -f '" + source + "' '" + Dir(0) + "' > /dev/null 2> /dev/null");
    EXPECT_TRUE(std::filesystem::exists(Dir(0) + "/" + name));
  }
  EXPECT_TRUE(NamesIn(staging_).empty());
}

// What the last path component of source and target would be is the command's business here.
TEST_F(PmlMove, OddPathsAreLeftToTheCommand) {
  pml_system.rename_file = [](const char*, const char*) {
    ADD_FAILURE() << "renamed";
    return 0;
  };
  pml_system.run_command = [](const char*) { return 256; };
  uint32_t detail = 0;
  for (const char* source : {"/a/", "/a/.", "..", ""}) {
    EXPECT_EQ(move_chink_pml(source, "/b", &detail), 4);
  }
  EXPECT_EQ(move_chink_pml("/a", "", &detail), 4) << "not into the root directory";
}

TEST_F(PmlMove, AFailureIsTold) {
  uint32_t detail = 0;
  FailRename(EXDEV);
  const auto reason_of = [&](int (*command)(const char*)) {
    pml_system.run_command = command;
    EXPECT_EQ(move_chink_pml("/a", "/b", &detail), 4);
    return PmlMoveFailure();
  };
  const std::string rename = "rename: Invalid cross-device link; ";
  EXPECT_EQ(reason_of([](const char*) { return 256; }), rename + "move command: status 1");
  EXPECT_EQ(reason_of([](const char*) { return 9; }), rename + "move command: signal 9");
  EXPECT_EQ(reason_of([](const char*) {
              errno = ENOMEM;
              return -1;
            }),
            rename + "move command: Cannot allocate memory");
}

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
  FailRename(EXDEV);
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
  FailRename(EXDEV);
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
  FailRename(EXDEV);
  const auto previous = signal(SIGCHLD, SIG_IGN);
  uint32_t detail = 0;
  EXPECT_EQ(move_chink_pml((staging_ + "/a.pml").c_str(), Dir(0).c_str(), &detail), 0);
  EXPECT_EQ(signal(SIGCHLD, previous), SIG_IGN);
  EXPECT_TRUE(std::filesystem::exists(Dir(0) + "/a.pml"));
}

}  // namespace
