// What the engine meets seldom: files that change between two looks, names of other makes, memory
// that ends while its end is told.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>

#include "areas/finfo.h"
#include "engine/QelprfarcMain.h"
#include "engine/buffer.h"
#include "engine/input.h"
#include "engine/layout/layout.h"
#include "engine/names.h"
#include "engine/output.h"
#include "engine/period.h"
#include "engine/pmoncommon.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "tests/engine/header_fixture.h"
#include "tests/support/process.h"

namespace {

class EngineEdges : public HeaderTest {};

TEST_F(EngineEdges, RevisionThatChangedSinceTheCheckEndsTheRun) {
  spell::Bytes bytes = spell::HeaderRecord({});
  for (const int revision : {0x0F, 0x22, 0xFF}) {
    bytes[3] = static_cast<char>(revision);
    EXPECT_EQ(ReadBytes(bytes), 1);
    EXPECT_EQ(err_, Message("101 Not PSL file"));
  }
}

TEST_F(EngineEdges, OutputOfAnEndedRunIsLeftAsItIs) {
  spell::Bytes bytes = spell::HeaderRecord({});
  bytes[0] = 'X';
  arcdelinfo.auto_flg = 1;
  arcdelinfo.auto2_flg = 1;
  directory_.Write("output", "half");
  std::snprintf(wfpath, sizeof wfpath, "%s", directory_.Path("output").c_str());
  wfd = open(wfpath, O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(ReadBytes(bytes), 1);
  EXPECT_EQ(directory_.Read("output"), "half");
}

TEST_F(EngineEdges, OutputOfAnEndedRunThatCannotBeClosedIsTold) {
  spell::Bytes bytes = spell::HeaderRecord({});
  bytes[0] = 'X';
  Open(bytes);
  std::snprintf(wfname, 1024, "out.psa");
  wfd = 9999;  // not open
  const Capture errors(2);
  EXPECT_EQ(StatusOf(ReadHeaderRec), 1);
  EXPECT_NE(errors.Text().find("111 Write error -- out.psa  func=close errno=9"), std::string::npos)
      << errors.Text();
}

TEST_F(EngineEdges, FileThatIsNotThereIsLookedAt) {
  const InputLook look = LookAtInput(directory_.Path("nothing.psl"));
  EXPECT_FALSE(look.opened);
  EXPECT_EQ(look.error, ENOENT);
}

// What has no size is short, and nobody asks whether it could be read.
TEST_F(EngineEdges, FileWithoutASizeIsLookedAt) {
  const InputLook look = LookAtInput("/proc/self/mem");
  EXPECT_TRUE(look.opened);
  EXPECT_EQ(look.error, 0);
  EXPECT_EQ(look.verdict, HeaderVerdict::kShort);
}

TEST_F(EngineEdges, InputsOfADirectoryThatHasNoName) {
  finfo.optclass = kOptDirectory;
  finfo.path = nullptr;
  EXPECT_EQ(InputPath("20240101a.psl"), "20240101a.psl");
  finfo.path = "dir/";
  EXPECT_EQ(InputPath("20240101a.psl"), "dir/20240101a.psl");
  finfo.optclass = 0;
  EXPECT_EQ(InputPath("20240101a.psl"), "20240101a.psl");
}

TEST_F(EngineEdges, ArchivesOfAStem) {
  EXPECT_TRUE(IsArchiveOf("20240101a", "20240101a.psa"));
  EXPECT_TRUE(IsArchiveOf("20240101a", "20240101a#002.psa"));
  EXPECT_FALSE(IsArchiveOf("20240101a", "20240101b.psa"));
  EXPECT_FALSE(IsArchiveOf("20240101a", "20240101a.psl"));
  EXPECT_FALSE(IsArchiveOf("20240101a", "20240101a-002.psa")) << "no sequel";
  EXPECT_FALSE(IsArchiveOf("20240101a", "20240101ab.psa"));
  EXPECT_FALSE(IsArchiveOf("20240101a", "20240101a#0x2.psa"));
}

TEST_F(EngineEdges, SequelsAreArchives) {
  EXPECT_TRUE(IsSequelName("20240101a#002.psa"));
  EXPECT_TRUE(IsSequelName("dir#1/20240101a#002.psa"));
  EXPECT_FALSE(IsSequelName("20240101a.psa"));
  EXPECT_FALSE(IsSequelName("dir#1/20240101a.psa"));
  EXPECT_FALSE(IsSequelName("20240101a#002.psl"));
}

TEST_F(EngineEdges, DistancesThatDoNotGoBack) {
  arcdelinfo.auto_flg = 1;
  finfo.previous_time = 1'700'000'000;
  finfo.record_time = 1'700'000'000 + 86400;
  EXPECT_EQ(CheckNextMonth(0x21), 0);
  EXPECT_EQ(CheckNextDay(0x21), 1);
}

// Of a revision that nobody knows no header was kept: the time of the record read last counts.
TEST_F(EngineEdges, DistanceFromAnUnknownRevision) {
  ASSERT_EQ(Read({.revision = 0x21, .month = 3, .day = 5}), kReturned);
  finfo.layout = &LayoutOf(0x21);
  finfo.record_time = 1'704'067'200;  // 1 January 2024
  EXPECT_EQ(DistanceFromLast(0xFF).months, 2);
}

TEST_F(EngineEdges, BlockOfNothing) {
  Buffer buffer;
  EXPECT_NE(buffer.Zeroed(8), nullptr);
  EXPECT_EQ(buffer.Zeroed(0), nullptr);
  EXPECT_EQ(buffer.capacity(), 0U);
}

// The report of the end of memory may need memory itself.
TEST_F(EngineEdges, MemoryThatEndsWhileItsEndIsTold) {
  directory_.Write("output", "half");
  std::snprintf(wfpath, sizeof wfpath, "%s", directory_.Path("output").c_str());
  wfd = open(wfpath, O_WRONLY | O_CLOEXEC);
  message_hook = [](const ArcErrInfo&) { OutOfMemory(); };
  // In a process of its own: it ends without having put anything back.
  const int status = RunInChild([] {
    OutOfMemory();
    return 77;
  });
  message_hook = nullptr;
  EXPECT_EQ(status, 1);
  EXPECT_FALSE(directory_.Exists("output"));
}

TEST_F(EngineEdges, OutputsOfManualRunsAreNotRenamed) {
  directory_.MakeDirectory("archive");
  std::snprintf(arcdelinfo.arcdir, sizeof arcdelinfo.arcdir, "%s", directory_.Path("").c_str());
  directory_.Write("archive/20240101a.psa_tmp", "x");
  RenameWriteFname("20240101a.psa_tmp");
  EXPECT_TRUE(directory_.Exists("archive/20240101a.psa_tmp"));
  arcdelinfo.auto_flg = 1;
  RenameWriteFname("20240101a.psa_tmp");
  EXPECT_TRUE(directory_.Exists("archive/20240101a.psa"));
  EXPECT_FALSE(directory_.Exists("archive/20240101a.psa_tmp"));
}

TEST_F(EngineEdges, EndOfTheArchiverChangesNothing) {
  InitArchiver();
  const auto before = pmonarc_stat;
  EndArchive();
  EXPECT_EQ(pmonarc_stat, before);
}

}  // namespace
