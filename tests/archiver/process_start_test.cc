// What the program does before it looks at its arguments: closed standard descriptors, and memory
// that runs out outside Malloc.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "areas/finfo.h"
#include "engine/pmoncommon.h"
#include "platform/process.h"
#include "report/runinfo.h"
#include "tests/support/process.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace {

TEST(ProcessStart, ClosedStandardDescriptorsAreOpened) {
  const int status = RunInChild([] {
    close(0);
    close(1);
    close(2);
    OpenStandardDescriptors();
    // The next file opened must not get one of the three numbers.
    const int fd = open("/dev/null", O_RDONLY);
    return fd == 3 || (fd > 3 && fcntl(2, F_GETFD) != -1) ? 0 : 1;
  });
  EXPECT_EQ(status, 0);
}

TEST(ProcessStart, ArchiveNeverGetsTheDescriptorOfStandardOutput) {
  // "-v" writes to standard output when the archive is finished; with the output closed these lines
  // must go nowhere, so the run behaves as with an open one.
  const TempDir directory;
  const ProgramResult closed = RunProgram(
      "/bin/sh", {"-c", std::string("exec ") + QELPRFARC_PATH + " -v nothing.psl >&- 2>&-"},
      {.directory = directory.Path(), .variables = {}});
  EXPECT_EQ(closed.status, 1);
  EXPECT_TRUE(directory.Names().empty());
}

TEST(ProcessStart, ExhaustedHeapEndsTheRunWithMessage109AndRemovesTheOutput) {
  ResetRunState();
  const TempDir directory;
  directory.Write("out.psa", "unfinished");
  std::snprintf(wfpath, sizeof wfpath, "%s", directory.Path("out.psa").c_str());
  wfd = open(wfpath, O_WRONLY);
  const Capture errors(2);
  EXPECT_EQ(StatusOf([] { OutOfMemory(); }), 1);
  EXPECT_EQ(errors.Text(), "Qelprfarc: 109 Can't allocate memory\n");
  EXPECT_FALSE(directory.Exists("out.psa"));
  wfpath[0] = '\0';
}

}  // namespace
