// The lock between archivers, held by real processes, and the signals of an automatic run.
#include "archiver/lock.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "archiver/signals.h"
#include "areas/finfo.h"
#include "report/runinfo.h"
#include "tests/support/process.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace {

// A child that holds a record lock of `type` on a file until the object ends.
class LockHolder {
 public:
  LockHolder(const std::string& path, short type) : path_(path), type_(type) {
    if (pipe(ready_) != 0 || pipe(stop_) != 0) throw std::runtime_error("pipe");
    child_ = ForkChild([](void* self) { return static_cast<LockHolder*>(self)->Hold(); }, this);
    close(ready_[1]);
    close(stop_[0]);
    char byte = 0;
    if (read(ready_[0], &byte, 1) != 1) throw std::runtime_error("the child has no lock");
  }
  ~LockHolder() {
    close(stop_[1]);
    close(ready_[0]);
    WaitForChild(child_);
  }
  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;

 private:
  int Hold() const {
    close(stop_[1]);
    const int fd = open(path_.c_str(), O_RDWR | O_CREAT, 0644);
    struct flock lock {};
    lock.l_type = type_;
    lock.l_whence = SEEK_SET;
    if (fcntl(fd, F_SETLK, &lock) != 0) return 1;
    if (write(ready_[1], "x", 1) != 1) return 1;
    char byte = 0;
    return read(stop_[0], &byte, 1) == 0 ? 0 : 1;
  }

  std::string path_;
  short type_;
  int ready_[2];
  int stop_[2];
  pid_t child_;
};

// Whether another process could take the write lock on the file now.
bool IsFree(const std::string& path) {
  const int status = RunInChild([&path] {
    const int fd = open(path.c_str(), O_WRONLY);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return fcntl(fd, F_SETLK, &lock) == 0 ? 0 : 1;
  });
  return status == 0;
}

class Lock : public ::testing::Test {
 protected:
  // Failures go to standard error in pruning runs without a trace file.
  Lock() {
    ResetRunState();
    arcdelinfo.auto2_flg = 1;
    path = directory.Path("arclock");
  }
  ~Lock() override {
    DropLock();
    ResetRunState();
  }

  TempDir directory;
  std::string path;
};

TEST_F(Lock, MissingFileIsCreated) {
  const mode_t before = umask(022);
  EXPECT_EQ(Arc_chksgm(path.c_str()), 0);
  umask(before);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0644u);
  EXPECT_NE(lockfile_fd, -1);
}

TEST_F(Lock, TestAloneTakesNoLock) {
  EXPECT_EQ(Arc_chksgm(path.c_str()), 0);
  EXPECT_TRUE(IsFree(path));
}

TEST_F(Lock, OtherProcessesCannotPassALockedFile) {
  ASSERT_EQ(Arc_chksgm(path.c_str()), 0);
  ASSERT_EQ(Arc_Lock(), 0);
  EXPECT_FALSE(IsFree(path));
  EXPECT_EQ(RunInChild([this] {
              lockfile_fd = -1;
              return Arc_chksgm(path.c_str()) == -1 && lockfile_fd == -1 ? 0 : 1;
            }),
            0);
}

TEST_F(Lock, LockedFileEndsTheTestWithoutAMessage) {
  LockHolder holder(path, F_WRLCK);
  Capture errors(2);
  EXPECT_EQ(Arc_chksgm(path.c_str()), -1);
  EXPECT_EQ(lockfile_fd, -1);
  EXPECT_EQ(errors.Text(), "");
}

TEST_F(Lock, FileIsFreeAgainWhenItsHolderHasEnded) {
  { LockHolder holder(path, F_WRLCK); }
  EXPECT_EQ(Arc_chksgm(path.c_str()), 0);
  EXPECT_EQ(Arc_Lock(), 0);
}

TEST_F(Lock, ReadLockOfAnotherProcessIsFoundByTheLockCall) {
  // The test asks on behalf of a reader, so a reader does not disturb it.
  LockHolder holder(path, F_RDLCK);
  ASSERT_EQ(Arc_chksgm(path.c_str()), 0);
  Capture errors(2);
  EXPECT_EQ(Arc_Lock(), -1);
  EXPECT_EQ(lockfile_fd, -1);
  EXPECT_EQ(errors.Text(),
            "System call error occurred func=fcntl errno=11 detcode=030e0001\n"
            "Failed in deletion of psl(psa) files.\n");
}

TEST_F(Lock, FailedLockOfAnArchivingRunSaysArchives) {
  LockHolder holder(path, F_RDLCK);
  arcdelinfo.arc_flg = 1;
  ASSERT_EQ(Arc_chksgm(path.c_str()), 0);
  Capture errors(2);
  EXPECT_EQ(Arc_Lock(), -1);
  EXPECT_EQ(errors.Text(),
            "System call error occurred func=fcntl errno=11 detcode=030e0001\n"
            "Failed in archives of psl(psa) files.\n");
}

TEST_F(Lock, FileThatCannotBeOpenedIsMessage113) {
  Capture errors(2);
  EXPECT_EQ(Arc_chksgm(directory.Path("none/arclock").c_str()), -1);
  EXPECT_EQ(lockfile_fd, -1);
  EXPECT_EQ(errors.Text(), "System call error occurred func=open errno=2 detcode=030c0001\n");
}

TEST_F(Lock, UnlockReleasesAndCloses) {
  ASSERT_EQ(Arc_chksgm(path.c_str()), 0);
  ASSERT_EQ(Arc_Lock(), 0);
  Arc_Unlock();
  EXPECT_EQ(lockfile_fd, -1);
  EXPECT_TRUE(IsFree(path));
  EXPECT_TRUE(directory.Exists("arclock"));
}

TEST_F(Lock, DropReleasesAndCloses) {
  ASSERT_EQ(Arc_chksgm(path.c_str()), 0);
  ASSERT_EQ(Arc_Lock(), 0);
  const int fd = lockfile_fd;
  DropLock();
  EXPECT_EQ(lockfile_fd, -1);
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
  EXPECT_TRUE(IsFree(path));
  DropLock();  // and once more changes nothing
  EXPECT_EQ(lockfile_fd, -1);
}

TEST_F(Lock, UnlockWithoutAnOpenFileDoesNothing) {
  Capture errors(2);
  Arc_Unlock();
  EXPECT_EQ(errors.Text(), "");
}

TEST_F(Lock, FailedUnlockIsMessage113And114) {
  lockfile_fd = 1000;  // not open
  Capture errors(2);
  Arc_Unlock();
  EXPECT_EQ(lockfile_fd, -1);
  EXPECT_EQ(errors.Text(),
            "System call error occurred func=fcntl errno=9 detcode=030f0001\n"
            "Failed in deletion of psl(psa) files.\n");
}

// --- Signals --------------------------------------------------------------------------------------

class Signals : public Lock {};

TEST_F(Signals, SigtermRemovesTheOutputAndReleasesTheLock) {
  int running[2];
  ASSERT_EQ(pipe(running), 0);
  struct Context {
    std::string lock_file;
    std::string output;
    int* running;
  } context{path, directory.Path("x.psa_tmp"), running};
  const pid_t child = ForkChild(
      [](void* pointer) {
        const Context& c = *static_cast<Context*>(pointer);
        if (Arc_chksgm(c.lock_file.c_str()) != 0 || Arc_Lock() != 0) return 2;
        snprintf(wfpath, sizeof wfpath, "%s", c.output.c_str());
        wfd = open(wfpath, O_WRONLY | O_CREAT, 0644);
        SetSignal();
        if (wfd == -1 || write(c.running[1], "x", 1) != 1) return 3;
        for (;;) pause();
      },
      &context);
  char byte = 0;
  ASSERT_EQ(read(running[0], &byte, 1), 1);
  EXPECT_TRUE(directory.Exists("x.psa_tmp"));
  EXPECT_FALSE(IsFree(path));
  kill(child, SIGTERM);
  EXPECT_EQ(WaitForChild(child), 1);
  EXPECT_FALSE(directory.Exists("x.psa_tmp"));
  EXPECT_TRUE(IsFree(path));
  close(running[0]);
  close(running[1]);
}

TEST_F(Signals, SigtermWithoutAnOutputKeepsTheLastOne) {
  directory.Write("x.psa", "bytes");
  EXPECT_EQ(RunInChild([this] {
              snprintf(wfpath, sizeof wfpath, "%s", directory.Path("x.psa").c_str());
              SetSignal();
              raise(SIGTERM);
              return 0;
            }),
            1);
  EXPECT_EQ(directory.Read("x.psa"), "bytes");
}

TEST_F(Signals, SigtermWithoutAnOutputReleasesTheLock) {
  // Without any output the handler has the lock alone to give up.
  EXPECT_EQ(RunInChild([this] {
              if (Arc_chksgm(path.c_str()) != 0 || Arc_Lock() != 0) return 2;
              Catch_sig(SIGTERM);
              return 0;
            }),
            1);
  EXPECT_TRUE(IsFree(path));
}

TEST_F(Signals, AsynchronousSignalsAreIgnored) {
  EXPECT_EQ(RunInChild([] {
              SetSignal();
              for (const int number :
                   {SIGALRM, SIGHUP, SIGINT, SIGPIPE, SIGPOLL, SIGPROF, SIGURG, SIGVTALRM}) {
                raise(number);
              }
              return 42;
            }),
            42);
}

TEST_F(Signals, OtherSignalsKeepTheirAction) {
  for (const int number : {SIGUSR1, SIGUSR2, SIGXCPU}) {
    EXPECT_EQ(RunInChild([number] {
                signal(number, SIG_DFL);
                SetSignal();
                raise(number);
                return 0;
              }),
              128 + number);
  }
}

TEST_F(Lock, HolderOfWhatIsNotThereAndOfWhatCannotBeLookedAt) {
  directory.Write("file");
  EXPECT_EQ(::LockHolder(directory.Path("nothing").c_str()), 0);
  EXPECT_EQ(::LockHolder(directory.Path("file/below").c_str()), -1);
}

}  // namespace
