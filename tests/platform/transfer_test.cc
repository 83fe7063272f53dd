// Reading the beginning of a file: all of it, or a failure.
#include "platform/transfer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

#include "tests/support/tempdir.h"

namespace {

class ReadingTheBeginning : public testing::Test {
 protected:
  void SetUp() override {
    directory_.Write("file", "abcdef");
    fd_ = open(directory_.Path("file").c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_NE(fd_, -1);
  }
  void TearDown() override { close(fd_); }

  TempDir directory_;
  int fd_ = -1;
  std::array<uint8_t, 4> bytes_ = {};
};

TEST_F(ReadingTheBeginning, AsMuchAsThereIsRoom) {
  EXPECT_TRUE(ReadBeginning(fd_, 6, bytes_));
  EXPECT_EQ(bytes_, (std::array<uint8_t, 4>{'a', 'b', 'c', 'd'}));
}

TEST_F(ReadingTheBeginning, AsMuchAsTheFileHas) {
  EXPECT_TRUE(ReadBeginning(fd_, 2, bytes_));
  EXPECT_EQ(bytes_, (std::array<uint8_t, 4>{'a', 'b', 0, 0}));
  EXPECT_TRUE(ReadBeginning(-1, 0, bytes_));
}

TEST_F(ReadingTheBeginning, FileThatEndsBeforeItsSize) {
  std::array<uint8_t, 9> more = {};
  errno = EIO;
  EXPECT_FALSE(ReadBeginning(fd_, 7, more));
  EXPECT_EQ(errno, 0);
}

TEST_F(ReadingTheBeginning, CallThatFails) {
  EXPECT_FALSE(ReadBeginning(-1, 6, bytes_));
  EXPECT_EQ(errno, EBADF);
}

}  // namespace
