// The check for a mounted volume, on real mounts where this process may make one, and what the
// pruning makes of its results together with the override in the environment.
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>

#include <cerrno>
#include <exception>
#include <map>

#include "tests/pmonb/pml_tree.h"

namespace {

class PmlVolume : public pml_test::PmlTree {
 protected:
  // Leaves volumes to the real check.
  void CheckForReal() { pml_system.check_volume = check_flash_exist; }

  // Runs `body` in a child process whose mounts nobody else sees, with volumes of their own mounted
  // at both directories.
  template <typename Body>
  void WithMountedVolumes(Body body) {
    constexpr int kNotAllowed = 77;
    fflush(stdout);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
      if (!MountVolumes()) _exit(kNotAllowed);
      // An exception must not carry the child into the remaining tests.
      try {
        body();
      } catch (const std::exception& error) {
        ADD_FAILURE() << error.what();
      }
      fflush(stdout);
      _exit(HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == kNotAllowed) {
      GTEST_SKIP() << "this process may not mount a volume: the check was not seen on a real one";
    }
    EXPECT_EQ(WEXITSTATUS(status), 0) << "see the child's messages above";
  }

 private:
  static bool WriteTo(const char* path, const std::string& text) {
    const int fd = open(path, O_WRONLY | O_CLOEXEC);
    if (fd < 0) return false;
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return written;
  }

  // A mount namespace of this process alone; without privilege inside a user namespace, in which
  // the user must be known to be able to own files on the new volumes.
  static bool LeaveMountNamespace() {
    if (unshare(CLONE_NEWNS) == 0) return true;
    const std::string user = std::to_string(getuid());
    const std::string group = std::to_string(getgid());
    return unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0 && WriteTo("/proc/self/setgroups", "deny") &&
           WriteTo("/proc/self/uid_map", "0 " + user + " 1") &&
           WriteTo("/proc/self/gid_map", "0 " + group + " 1");
  }

  bool MountVolumes() const {
    return LeaveMountNamespace() &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("tmpfs", base_.c_str(), "tmpfs", 0, nullptr) == 0 &&
           mount("tmpfs", staging_.c_str(), "tmpfs", 0, nullptr) == 0;
  }
};

TEST_F(PmlVolume, NullArguments) {
  PmlErrorBlock block{};
  EXPECT_EQ(check_flash_exist("/", nullptr), 5);
  EXPECT_EQ(check_flash_exist(nullptr, nullptr), 5);
  EXPECT_EQ(check_flash_exist(nullptr, &block), 5);
  EXPECT_STREQ(block.text, "param");
  EXPECT_EQ(block.detail, 0x01B00020u);
}

TEST_F(PmlVolume, AMissingPathAndTheRootItselfAreNoVolume) {
  PmlErrorBlock block{};
  EXPECT_EQ(check_flash_exist((root_ + "/missing").c_str(), &block), 2);
  EXPECT_EQ(check_flash_exist("/", &block), 2);
  EXPECT_EQ(block.detail, 0u);
  EXPECT_STREQ(block.text, "");
}

TEST_F(PmlVolume, AStatusOtherThanMissingIsAFailure) {
  Put(root_ + "/file");
  PmlErrorBlock block{};
  EXPECT_EQ(check_flash_exist((root_ + "/file/below").c_str(), &block), 4);
  EXPECT_STREQ(block.text, "stat");
  EXPECT_EQ(block.detail, 0x01B00023u);
  EXPECT_EQ(block.err_no, ENOTDIR);
}

TEST_F(PmlVolume, AnUnreadableRootIsAFailure) {
  pml_system.status = [](const char* path, struct stat* status) {
    if (strcmp(path, "/") != 0) return stat(path, status);
    errno = EIO;
    return -1;
  };
  PmlErrorBlock block{};
  EXPECT_EQ(check_flash_exist(root_.c_str(), &block), 4);
  EXPECT_STREQ(block.text, "stat");
  EXPECT_EQ(block.detail, 0x01B00022u);
  EXPECT_EQ(block.err_no, EIO);
}

TEST_F(PmlVolume, ARealMountIsAVolume) {
  WithMountedVolumes([this] {
    CheckForReal();
    PmlErrorBlock block{};
    EXPECT_EQ(check_flash_exist(base_.c_str(), &block), 0);
    EXPECT_EQ(check_flash_exist(staging_.c_str(), &block), 0);
    std::filesystem::create_directories(Dir(0));
    EXPECT_EQ(check_flash_exist(Dir(0).c_str(), &block), 0);
    EXPECT_EQ(check_flash_exist("/", &block), 2);
  });
}

// The whole of an embedded run: delete on one volume, then move from the other to it.
TEST_F(PmlVolume, DeletesAndMovesOnRealMounts) {
  WithMountedVolumes([this] {
    CheckForReal();
    PutIn(0, pml_test::Name(20110101), 60);
    PutIn(0, pml_test::Name(20110102), 60);
    Stage(pml_test::Name(20110103), 7);
    Stage(pml_test::Name(20110104), 7);
    PmlDelParam param = Param();
    param.limit_lo = 100;
    EXPECT_EQ(PMONBcomDeletePml(&param, 8), 0);
    EXPECT_EQ(PMONBcomDeletePml(&param, 9), 0);
    EXPECT_EQ(NamesIn(Dir(0)),
              (std::set<std::string>{pml_test::Name(20110102), pml_test::Name(20110103)}));
    EXPECT_EQ(NamesIn(staging_), (std::set<std::string>{pml_test::Name(20110104)}));
  });
}

TEST_F(PmlVolume, WithoutAMountTheModesOfTheVolumeAreSkipped) {
  struct stat here {};
  struct stat top {};
  ASSERT_EQ(stat(base_.c_str(), &here), 0);
  ASSERT_EQ(stat("/", &top), 0);
  // Where the temporary directory is a volume of its own, a missing directory is what is absent.
  if (here.st_dev != top.st_dev) std::filesystem::remove_all(staging_);
  CheckForReal();
  PutIn(0, pml_test::Name(20110101), 60);
  for (const int mode : {7, 8, 9, 10}) {
    PmlDelParam param = Param();
    EXPECT_EQ(PMONBcomDeletePml(&param, static_cast<int8_t>(mode)), 2) << mode;
  }
  EXPECT_EQ(NamesIn(Dir(0)).size(), 1u);
}

// --- What the routine makes of the check's results -----------------------------------------------

std::map<std::string, int> volume_results;
std::vector<std::string> volumes_asked;

int ScriptedVolume(const char* path, PmlErrorBlock* block) {
  volumes_asked.emplace_back(path);
  const int result = volume_results[path];
  if (result == 4) *block = {"stat", 0x01B00023, EACCES};
  if (result == 5) *block = {"param", 0x01B00020, 0};
  return result;
}

class PmlVolumeResults : public PmlVolume {
 protected:
  PmlVolumeResults() {
    pml_system.check_volume = ScriptedVolume;
    std::filesystem::create_directories(Dir(0));
  }

  int Run(PmlDelParam& param, int mode, int base, int staging) {
    volume_results = {{base_, base}, {staging_, staging}};
    volumes_asked.clear();
    param = Param();
    return PMONBcomDeletePml(&param, static_cast<int8_t>(mode));
  }
};

TEST_F(PmlVolumeResults, OneAbsentVolumeSkipsTheCallAndBothAreAsked) {
  PmlDelParam param;
  for (const int mode : {7, 8, 9, 10}) {
    SCOPED_TRACE(mode);
    EXPECT_EQ(Run(param, mode, 2, 0), 2);
    EXPECT_EQ(volumes_asked, (std::vector<std::string>{base_, staging_}));
    EXPECT_EQ(Run(param, mode, 0, 2), 2);
    EXPECT_EQ(Run(param, mode, 2, 2), 2);
    EXPECT_NE(Run(param, mode, 0, 0), 2);
  }
}

TEST_F(PmlVolumeResults, OtherModesDoNotAsk) {
  PmlDelParam param;
  for (const int mode : {1, 2, 3, 4, 5, 6}) {
    EXPECT_NE(Run(param, mode, 2, 2), 2) << mode;
    EXPECT_TRUE(volumes_asked.empty()) << mode;
  }
}

TEST_F(PmlVolumeResults, AFailedCheckFailsTheCall) {
  PmlDelParam param;
  ExpectFailure(param, Run(param, 8, 4, 0), 0x01B00023, "stat", EACCES);
  EXPECT_EQ(volumes_asked.size(), 1u);
  ExpectFailure(param, Run(param, 8, 0, 4), 0x01B00023, "stat", EACCES);
  ExpectFailure(param, Run(param, 8, 2, 4), 0x01B00023, "stat", EACCES);
  ExpectFailure(param, Run(param, 8, 5, 0), 0x01B00020, "program error", 0);
  ExpectFailure(param, Run(param, 8, 0, 5), 0x01B00020, "program error", 0);
  ExpectFailure(param, Run(param, 8, 9, 0), 0x01B0001A, "program error", 0);
  ExpectFailure(param, Run(param, 8, 0, -1), 0x01B0001B, "program error", 0);
}

TEST_F(PmlVolumeResults, YesRunsWithoutVolumesButNotAfterAFailedCheck) {
  setenv(pml_test::kOverride, "yes", 1);
  PmlDelParam param;
  EXPECT_EQ(Run(param, 8, 2, 2), 0);
  EXPECT_EQ(Run(param, 9, 2, 2), 1);
  EXPECT_EQ(Run(param, 8, 4, 2), 4);
}

TEST_F(PmlVolumeResults, NoSkipsEveryModeWithoutTouchingAnything) {
  setenv(pml_test::kOverride, "no", 1);
  for (int day = 1; day <= 9; ++day) PutIn(0, pml_test::Name(20110100 + day));
  PutIn(0, "abc.pml");
  Stage("abc.pml");
  const std::set<std::string> before = Everything();
  PmlDelParam param;
  for (int mode = 1; mode <= 10; ++mode) {
    SCOPED_TRACE(mode);
    EXPECT_EQ(Run(param, mode, 0, 0), 2);
    EXPECT_EQ(param.scan_flags, 0);
    EXPECT_EQ(param.file_count, 0u);
  }
  EXPECT_EQ(Everything(), before);
  EXPECT_TRUE(Trace().empty());
  // A failed check comes first.
  EXPECT_EQ(Run(param, 9, 4, 0), 4);
}

TEST_F(PmlVolumeResults, OtherValuesAreIgnored) {
  PmlDelParam param;
  for (const char* value : {"", "YES", "yes ", "NO", "no\n", "1"}) {
    SCOPED_TRACE(value);
    setenv(pml_test::kOverride, value, 1);
    EXPECT_EQ(Run(param, 8, 2, 2), 2);
    EXPECT_EQ(Run(param, 8, 0, 0), 0);
  }
}

}  // namespace
