// The checked primitives: failures end the run in one way, names are put in order, words are turned
// around.
#include "engine/pmoncommon.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "areas/finfo.h"
#include "report/runinfo.h"
#include "tests/support/engine_run.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

// In the operation log the messages of an automatic run show error number and detail code.
class PrefixPrimitivesTest : public ::testing::Test {
 protected:
  PrefixPrimitivesTest() {
    ResetEngine();
    arcdelinfo.auto_flg = 1;
    arcdelinfo.arc_flg = 1;
    unlink(log_.c_str());
    directory_.Write("out", "content");
    snprintf(wfpath, sizeof wfpath, "%s", directory_.Path("out").c_str());
    std::strcpy(wfname, "out.name");
    wfd = open(wfpath, O_WRONLY);
  }
  ~PrefixPrimitivesTest() override { ResetEngine(); }

  // Exit status of `body`; messages go to err_ and log_text_.
  template <typename Body>
  int Status(Body body) {
    const Capture err(2);
    const int status = StatusOf(body);
    err_ = err.Text();
    log_text_ = TempDir::ReadFile(log_);
    return status;
  }

  void ExpectEnd(const std::string& identifier, const std::string& details) {
    const size_t first = log_text_.find(' ' + identifier + " Qelprfarc 5 ");
    const size_t second =
        log_text_.find(" 08320 Qelprfarc 4 1 Failed in archives of psl(psa) files.");
    EXPECT_NE(first, std::string::npos) << log_text_;
    EXPECT_NE(second, std::string::npos) << log_text_;
    EXPECT_LT(first, second);
    EXPECT_THAT(log_text_, HasSubstr(details));
    EXPECT_FALSE(directory_.Exists("out"));
    EXPECT_EQ(wfd, -1);
  }

  const std::string log_ = std::string(QELPRFARC_TEST_PREFIX) + "etc/log/operation.log";
  TempDir directory_;
  std::string err_;
  std::string log_text_;
};

TEST_F(PrefixPrimitivesTest, MallocOfNothingEndsTheRun) {
  EXPECT_EQ(Status([] { Malloc(0); }), 1);
  ExpectEnd("08072", "func=malloc errno=22 detcode=03050001");
  EXPECT_EQ(err_, "Qelprfarc: 109 Can't allocate memory\n");
}

TEST_F(PrefixPrimitivesTest, MallocWithoutMemoryEndsTheRun) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer's malloc ends the program itself";
#endif
  EXPECT_EQ(Status([] { Malloc(std::numeric_limits<size_t>::max() / 2); }), 1);
  ExpectEnd("08072", "func=malloc errno=12 detcode=03050002");
}

TEST_F(PrefixPrimitivesTest, ReadAtTheEndOfTheFileEndsTheRun) {
  directory_.Write("in", "abc");
  const int fd = open(directory_.Path("in").c_str(), O_RDONLY);
  char buffer[8] = {};
  EXPECT_EQ(Read(fd, buffer, sizeof buffer), 3);  // a short read is accepted
  EXPECT_STREQ(buffer, "abc");
  EXPECT_EQ(Status([&] { Read(fd, buffer, 1); }), 1);
  close(fd);
  ExpectEnd("08094", "func=read errno=0 detcode=03060001");
}

TEST_F(PrefixPrimitivesTest, ReadErrorEndsTheRun) {
  char buffer[8];
  EXPECT_EQ(Status([&] { Read(wfd, buffer, 1); }), 1);  // open for writing
  ExpectEnd("08094", "func=read errno=9 detcode=03060001");
}

TEST_F(PrefixPrimitivesTest, ReadNamesTheCurrentInput) {
  rfname = "20240101A.psl";
  char buffer[8];
  EXPECT_EQ(Status([&] { Read(-1, buffer, 1); }), 1);
  EXPECT_EQ(err_, "Qelprfarc: 110 Read error -- 20240101A.psl  func=read errno=9\n");
}

TEST_F(PrefixPrimitivesTest, ReadExactWantsWhatTheSizePromised) {
  directory_.Write("in", "abc");
  const int fd = open(directory_.Path("in").c_str(), O_RDONLY);
  char buffer[8];
  EXPECT_EQ(Status([&] { ReadExact(fd, buffer, 4); }), 1);
  close(fd);
  ExpectEnd("08094", "func=read errno=0 detcode=03060001");
}

TEST_F(PrefixPrimitivesTest, WriteErrorEndsTheRun) {
  const int full = open("/dev/full", O_WRONLY);
  EXPECT_EQ(Status([&] { Write(full, "x", 1); }), 1);
  close(full);
  EXPECT_EQ(err_, "Qelprfarc: 111 Write error -- out.name  func=write errno=28\n");
  ExpectEnd("08094", "func=write errno=28 detcode=03070001");
}

TEST_F(PrefixPrimitivesTest, WritingNothingIsAFailureToo) {
  EXPECT_EQ(Status([] { Write(wfd, "", 0); }), 1);
  ExpectEnd("08094", "func=write errno=0 detcode=03070001");
}

TEST_F(PrefixPrimitivesTest, TaskWordFollowsTheArchivingSwitch) {
  arcdelinfo.arc_flg = 0;
  EXPECT_EQ(Status([] { Malloc(0); }), 1);
  EXPECT_THAT(log_text_, HasSubstr("Failed in deletion of psl(psa) files."));
}

TEST_F(PrefixPrimitivesTest, WithoutAnOutputNothingIsRemoved) {
  close(wfd);
  wfd = -1;
  EXPECT_EQ(Status([] { Malloc(0); }), 1);
  EXPECT_EQ(directory_.Read("out"), "content");
}

TEST(Primitives, MallocGivesWhatWasAskedFor) {
  auto* block = static_cast<char*>(Malloc(100000));
  ASSERT_NE(block, nullptr);
  std::memset(block, 1, 100000);
  free(block);
}

TEST(Primitives, WriteReturnsTheCount) {
  const TempDir directory;
  const int fd = open(directory.Path("f").c_str(), O_WRONLY | O_CREAT, 0666);
  EXPECT_EQ(Write(fd, "abcd", 4), 4);
  close(fd);
  EXPECT_EQ(directory.Read("f"), "abcd");
}

// ---- order of names ----

int Compare(const std::string& left, const std::string& right) {
  const char* a = left.c_str();
  const char* b = right.c_str();
  const int result = FSortFunc(&a, &b);
  return (result > 0) - (result < 0);
}

TEST(FileOrder, ArrayThenDateThenSequence) {
  EXPECT_EQ(Compare("20240102arrayA.psl", "20240101arrayB.psl"), -1);
  EXPECT_EQ(Compare("20240101arrayA.psl", "20240101arrayA#001.psl"), 0);
  EXPECT_EQ(Compare("20240101arrayA#002.psl", "20240101arrayA.psl"), 1);
  EXPECT_EQ(Compare("20240101arrayA#002.psl", "20240101arrayA#001.psl"), 1);
  EXPECT_EQ(Compare("20240101arrayA#002.psl", "20240102arrayA.psl"), -1);
  EXPECT_EQ(Compare("20231231arrayA#009.psl", "20240101arrayA.psl"), -1);
}

TEST(FileOrder, DirectoriesDoNotCount) {
  EXPECT_EQ(Compare("/z/20240101A.psl", "/a/20240102A.psl"), -1);
  EXPECT_EQ(Compare("/z/20240101A.psl", "20240101A.psl"), 0);
  EXPECT_EQ(Compare("/z.d/20240101A.psl", "/a.d/20240101A#002.psl"), -1);
}

TEST(FileOrder, OddNamesAreCompared) {
  EXPECT_EQ(Compare("", ""), 0);
  EXPECT_EQ(Compare("a", "b"), -1);
  EXPECT_EQ(Compare("short.psl", "short.psl"), 0);
  EXPECT_EQ(Compare(std::string(5000, 'a'), std::string(5000, 'a') + "b"), 0);
  EXPECT_EQ(Compare("/d#1/20240101A.psl", "/d#1/20240102A.psl"), -1);
}

TEST(FileOrder, SortsAList) {
  std::vector<const char*> names = {"20240102A.psl", "20240101B.psl", "20240101A#010.psl",
                                    "20240101A#002.psl", "20240101A.psl"};
  qsort(names.data(), names.size(), sizeof(char*), FSortFunc);
  EXPECT_THAT(std::vector<std::string>(names.begin(), names.end()),
              ElementsAre("20240101A.psl", "20240101A#002.psl", "20240101A#010.psl",
                          "20240102A.psl", "20240101B.psl"));
}

// ---- bits and bytes ----

TEST(CountBit, CountsOneBits) {
  EXPECT_EQ(CountBit(0), 0);
  EXPECT_EQ(CountBit(0xFFFFFFFF), 32);
  EXPECT_EQ(CountBit(0x80000000), 1);
  EXPECT_EQ(CountBit(1), 1);
  EXPECT_EQ(CountBit(0xFFFFFC00), 22);
}

TEST(MemCheck, ReturnsTheFirstDifferingByte) {
  const unsigned char bytes[] = {5, 5, 0x80, 7};
  EXPECT_EQ(MemCheck(bytes, 5, 2), 0);
  EXPECT_EQ(MemCheck(bytes, 5, 4), -128);
  EXPECT_EQ(MemCheck(bytes, 6, 4), 5);
  EXPECT_EQ(MemCheck(bytes, 6, 0), 0);
  EXPECT_EQ(MemCheck(bytes, 6, -1), 0);
  EXPECT_EQ(MemCheck(bytes + 2, 0x80, 1), 0);
}

// ---- byte order ----

constexpr unsigned char kWire[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};

using PrefixConverter = void (*)(void*, const void*);

TEST(ByteOrder, SectionHeaders) {
  for (const PrefixConverter to_host : {ntoh_conhdr, ntoh_stahdr}) {
    conhdr header;
    to_host(&header, kWire);
    EXPECT_EQ(header.first, 0x0102);
    EXPECT_EQ(header.count, 0x0304);
    EXPECT_EQ(header.offset, 0x05060708U);
    for (const PrefixConverter to_file : {hton_conhdr, hton_stahdr}) {
      unsigned char wire[9] = {};
      to_file(wire, &header);
      EXPECT_EQ(std::memcmp(wire, kWire, 8), 0);
      EXPECT_EQ(wire[8], 0);
    }
    // Source and destination may be the same.
    unsigned char same[8];
    std::memcpy(same, kWire, 8);
    to_host(same, same);
    EXPECT_EQ(std::memcmp(same, &header, 8), 0);
    hton_stahdr(same, same);
    EXPECT_EQ(std::memcmp(same, kWire, 8), 0);
  }
}

}  // namespace
