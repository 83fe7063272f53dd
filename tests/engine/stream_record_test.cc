// The record stream one record at a time: what is kept of each record, and an input that is at its
// end already.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "areas/finfo.h"
#include "engine/layout/layout.h"
#include "engine/stream.h"
#include "report/runinfo.h"
#include "tests/support/engine_run.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

namespace {

using spell::Bytes;
using spell::FixedRecord;
using spell::FreeRecord;
using spell::Structure;
using ::testing::HasSubstr;

constexpr uint8_t kNewest = 0x21;

class NextRecordTest : public ::testing::Test {
 protected:
  NextRecordTest() {
    ResetEngine();
    snprintf(wfpath, sizeof wfpath, "%s", directory_.Path("out").c_str());
    wfd = open(wfpath, O_WRONLY | O_CREAT | O_TRUNC, 0666);
  }
  ~NextRecordTest() override { ResetEngine(); }

  void Open(uint8_t revision, const Bytes& file, off_t position) {
    directory_.Write("in", file);
    name_ = directory_.Path("in");
    rfname = name_.c_str();
    if (rfd >= 0) close(rfd);
    rfd = open(rfname, O_RDONLY | O_CLOEXEC);
    finfo.layout = &LayoutOf(revision);
    finfo.revision = Rev_Kind = revision;
    finfo.input_size = static_cast<int64_t>(file.size());
    StartInput(position);
  }

  TempDir directory_;
  std::string name_;
};

TEST_F(NextRecordTest, TheFirstStructureRecordStandsBehindTheHeader) {
  for (const uint8_t revision : {uint8_t{0x10}, uint8_t{0x18}, uint8_t{0x19}, kNewest}) {
    for (const size_t position : {size_t{80}, size_t{256}, size_t{100}}) {
      Open(revision, Bytes(position, ' ') + Structure(revision), static_cast<off_t>(position));
      finfo.first_configuration = false;
      ReadNextRec();
      EXPECT_EQ(finfo.first_configuration, position == (revision < 0x19 ? 80U : 256U))
          << int{revision} << ' ' << position;
      EXPECT_EQ(finfo.record_start, static_cast<int64_t>(position));
      EXPECT_EQ(finfo.position, finfo.input_size);
    }
  }
}

TEST_F(NextRecordTest, StampLengthAndFlagOfEachRecordAreKept) {
  Open(0x1D, FixedRecord("NNC", 80, 0xF0000000) + FreeRecord(40), 0);
  ReadNextRec();
  EXPECT_EQ(finfo.record_time, int64_t{0xF0000000});
  EXPECT_EQ(finfo.record_length, 80U);
  EXPECT_EQ(finfo.record_flag, 0x07);
  ReadNextRec();
  EXPECT_EQ(finfo.previous_time, int64_t{0xF0000000});
  EXPECT_EQ(finfo.previous_length, 80U);
  EXPECT_EQ(finfo.record_length, 40U);
}

class PrefixNextRecordTest : public NextRecordTest {};

TEST_F(PrefixNextRecordTest, PositionOutsideTheInputEndsTheRun) {
  for (const int64_t position : {-1, 100}) {
    Open(0x1D, Bytes(100, ' '), 100);
    finfo.position = position;
    const Capture capture(2);
    EXPECT_EQ(StatusOf(ReadNextRec), 1);
    EXPECT_THAT(capture.Text(), HasSubstr("110 Read error -- " + name_ + "  func=tell errno="));
  }
}

TEST_F(PrefixNextRecordTest, PositionAtTheEndOfTheInputEndsTheRun) {
  for (const int automatic : {0, 1}) {
    directory_.Write("out");
    wfd = open(wfpath, O_WRONLY);
    Open(0x1D, Bytes(100, ' '), 100);
    arcdelinfo.auto_flg = automatic;
    const std::string log = std::string(QELPRFARC_TEST_PREFIX) + "etc/log/operation.log";
    unlink(log.c_str());
    std::string err;
    {
      const Capture capture(2);
      EXPECT_EQ(StatusOf(ReadNextRec), 1);
      err = capture.Text();
    }
    EXPECT_THAT(err, HasSubstr("110 Read error -- " + name_ + "  func=tell errno="));
    EXPECT_FALSE(directory_.Exists("out"));
    EXPECT_EQ(wfd, -1);
    if (automatic == 0) continue;
    EXPECT_THAT(TempDir::ReadFile(log), HasSubstr("func=tell errno="));
    EXPECT_THAT(TempDir::ReadFile(log), HasSubstr("detcode=03030001"));
    EXPECT_THAT(TempDir::ReadFile(log), HasSubstr("08320 Qelprfarc 4 1 Failed in archives of"));
  }
}

}  // namespace
