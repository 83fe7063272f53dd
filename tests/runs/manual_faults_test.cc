// Manual runs whose calls on the output fail one after the other, each where nothing else does:
// what the output can do without it does without, and otherwise the run says so and leaves what
// stood there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "areas/finfo.h"
#include "engine/output_file.h"
#include "report/runinfo.h"
#include "tests/support/driver_fixture.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/runs/nights.h"

namespace {

using spell::Bytes;
using spell::Tags;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

constexpr char kOld[] = "what stood there before";
constexpr uid_t kUser = 1234;
constexpr gid_t kGroup = 1235;

class ManualFaults : public DriverTest {
 protected:
  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }

  ProgramResult Run(const std::string& rules) const {
    ProgramSettings settings;
    settings.variables = {{"DISTURB_FAIL", rules}, {"LD_PRELOAD", DISTURB_PATH}};
    return RunProgram(QELPRFARC_PATH, {"-o", directory_.Path("out"), input_}, settings);
  }
  struct stat PutOld(mode_t mode, uid_t user = getuid(), gid_t group = getgid()) {
    Put("out/20240101A.psa", kOld);
    EXPECT_EQ(chown(output_.c_str(), user, group), 0);
    EXPECT_EQ(chmod(output_.c_str(), mode), 0);
    return Status();
  }
  struct stat Status() const {
    struct stat status {};
    EXPECT_EQ(lstat(output_.c_str(), &status), 0);
    return status;
  }

  const std::string input_ = Put("20240101A.psl", LogOf(0x21, {1, 1}));
  const std::string output_ = directory_.Path("out/20240101A.psa");
};

// Without /proc a file without a name could never get one.
TEST_F(ManualFaults, WithoutProcTheFileHasANameFromTheStart) {
  const ProgramResult run = Run("access::1:9:2");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA");
  EXPECT_EQ(Outputs().size(), 1U);
}

TEST_F(ManualFaults, EveryAnswerOfASystemWithoutUnnamedFiles) {
  for (const int error : {EOPNOTSUPP, EISDIR, EINVAL, ENOSYS}) {
    std::filesystem::remove(output_);
    const ProgramResult run = Run("open:/out/:1:1:" + std::to_string(error));
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA");
  }
  std::filesystem::remove(output_);
  const ProgramResult run = Run("open:/out/:1:1:" + std::to_string(EACCES));
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("func=open errno=13"));
  EXPECT_THAT(Outputs(), IsEmpty());
}

TEST_F(ManualFaults, NoNameIsLeftBesideTheOutput) {
  std::string rules = "open:/out/:1:1:95";
  for (char digit = '0'; digit <= '9'; ++digit) {
    rules += std::string(";open:") + digit + ":1:100000:17";
  }
  const ProgramResult run = Run(rules);
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("func=open errno=17"));
  EXPECT_THAT(Outputs(), IsEmpty());
}

TEST_F(ManualFaults, FileBesideTheOutputCannotBeMade) {
  const ProgramResult run = Run("open:/out/:1:1:95;open:.0:1:1:28");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("func=open errno=28"));
  EXPECT_THAT(Outputs(), IsEmpty());
}

TEST_F(ManualFaults, WhatStandsThereCannotBeAsked) {
  PutOld(0640);
  const ProgramResult run = Run("lstat:/20240101A.psa:1:1:5");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("errno=5"));
  EXPECT_EQ(Output("20240101A.psa"), kOld);
}

TEST_F(ManualFaults, WhatMayNotBeWrittenIsNotReplaced) {
  PutOld(0640);
  const ProgramResult run = Run("access:/20240101A.psa:1:1:30");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("errno=30"));
  EXPECT_EQ(Output("20240101A.psa"), kOld);
}

TEST_F(ManualFaults, RightsThatCannotBeAskedAreNotTakenOver) {
  PutOld(0700);
  const ProgramResult run = Run("fstat:(deleted):1:1:5");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Status().st_mode & 0700U, 0600U);
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA");
}

TEST_F(ManualFaults, SecondDescriptorCannotBeHad) {
  PutOld(0640);
  // Standard output and error are files without a name here, too, and are looked at before.
  const ProgramResult run = Run("fcntl:(deleted):3:3:24");
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("111 Write error -- 20240101A.psa  func=fcntl errno=24"));
  EXPECT_EQ(Output("20240101A.psa"), kOld);
  EXPECT_EQ(Outputs().size(), 1U);
}

class ManualOwners : public ManualFaults {
 protected:
  void SetUp() override {
    ManualFaults::SetUp();
    if (getuid() != 0) GTEST_SKIP() << "only root gives files away";
  }
};

TEST_F(ManualOwners, OwnerGroupAndRightsAreTakenOver) {
  for (const auto& [user, group] :
       {std::pair{kUser, kGroup}, {kUser, gid_t{0}}, {uid_t{0}, kGroup}}) {
    const struct stat before = PutOld(04751, user, group);
    EXPECT_EQ(Run("").status, 0);
    const struct stat after = Status();
    EXPECT_EQ(after.st_uid, before.st_uid);
    EXPECT_EQ(after.st_gid, before.st_gid);
    EXPECT_EQ(after.st_mode, before.st_mode);
    EXPECT_NE(after.st_ino, before.st_ino);
  }
}

// A file that runs as its owner must not become one that runs as another.
TEST_F(ManualOwners, OwnerThatCannotBeKeptTakesItsBitsAlong) {
  PutOld(04751, kUser, kGroup);
  EXPECT_EQ(Run("fchown:(deleted):1:1:1").status, 0);
  EXPECT_EQ(Status().st_uid, 0U);
  EXPECT_EQ(Status().st_gid, kGroup);
  EXPECT_EQ(Status().st_mode & 07777, 0751U);
}

TEST_F(ManualOwners, GroupThatCannotBeKeptIsAnyGroup) {
  PutOld(04751, kUser, kGroup);
  EXPECT_EQ(Run("fchown:(deleted):1:2:1").status, 0);
  EXPECT_EQ(Status().st_gid, 0U);
  EXPECT_EQ(Status().st_mode & 07777, 0711U);
  PutOld(0640, kUser, 0);  // the group stays as it is
  EXPECT_EQ(Run("fchown:(deleted):1:2:1").status, 0);
  EXPECT_EQ(Status().st_mode & 07777, 0640U);
}

// Whether an output would be an input is asked of the file itself; what it cannot say hinders
// nothing.
TEST_F(ManualFaults, InputWithoutStatusIsArchived) {
  const ProgramResult run = Run("fstat:/20240101A.psl:1:1:5");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Tags(Output("20240101A.psa")), "HDR CON STA");
}

// --- In process: what comes to the path between two calls -----------------------------------------

class BesideOutput : public DriverTest {
 protected:
  BesideOutput() {
    ResetRunState();
    std::snprintf(wfpath, sizeof wfpath, "%s", path_.c_str());
    EXPECT_EQ(CreateOutputFile(), 0);
    EXPECT_EQ(write(wfd, "new", 3), 3);
  }
  ~BesideOutput() override { ResetRunState(); }

  const std::string path_ = directory_.Path("out/20240101A.psa");
};

TEST_F(BesideOutput, PipeThatAppearsIsNotReplaced) {
  ASSERT_EQ(mkfifo(path_.c_str(), 0600), 0);
  EXPECT_STREQ(CompleteOutputFile(), "rename");
  EXPECT_EQ(errno, EEXIST);
  EXPECT_TRUE(std::filesystem::is_fifo(path_));
  EXPECT_EQ(Outputs().size(), 1U);
}

TEST_F(BesideOutput, NamesThatAreTakenAreLeftAlone) {
  Put("out/20240101A.psa", kOld);
  const std::string beside = "out/.Qelprfarc." + std::to_string(getpid()) + ".";
  Put(beside + "0", "another's");
  EXPECT_EQ(CompleteOutputFile(), nullptr);
  EXPECT_EQ(Output("20240101A.psa"), "new");
  EXPECT_EQ(directory_.Read(beside + "0"), "another's");
}

// Whatever stands at the path of an output that is given up: only a file of ours goes.
TEST_F(BesideOutput, GivenUpOutputTakesNothingElseAlong) {
  ReleaseOutputFile();  // as of an automatic run, at its path
  DiscardOutputFile();
  EXPECT_TRUE(Outputs().empty());
  std::filesystem::create_symlink("elsewhere", path_);
  DiscardOutputFile();
  EXPECT_TRUE(std::filesystem::is_symlink(path_));
  std::filesystem::remove(path_);
  Put("out/20240101A.psa", "half");
  DiscardOutputFile();
  EXPECT_TRUE(Outputs().empty());
}

TEST_F(BesideOutput, AllNamesAreTaken) {
  Put("out/20240101A.psa", kOld);
  const std::string beside = "out/.Qelprfarc." + std::to_string(getpid()) + ".";
  for (int i = 0; i < 1000; ++i) Put(beside + std::to_string(i), "");
  EXPECT_STREQ(CompleteOutputFile(), "linkat");
  EXPECT_EQ(errno, EEXIST);
  EXPECT_EQ(Output("20240101A.psa"), kOld);
}

}  // namespace
