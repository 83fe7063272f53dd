// Reading of a part of a file, or of its beginning: all of it, or what kept it from coming.
#include "platform/transfer.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdint>

#include "tests/support/bad_place.h"
#include "tests/support/tempdir.h"

namespace {

class ReadingAPart : public testing::Test {
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

TEST_F(ReadingAPart, FromAPlaceAsMuchAsThereIsRoomOrAsTheFileHas) {
  const Transfer full = ReadFrom(fd_, 1, bytes_);
  EXPECT_EQ(bytes_, (std::array<uint8_t, 4>{'b', 'c', 'd', 'e'}));
  EXPECT_EQ(full.size, 4U);
  EXPECT_EQ(full.error, 0);
  for (const int64_t at : {4, 6, 99}) {
    errno = EIO;  // of an earlier call
    const Transfer rest = ReadFrom(fd_, at, bytes_);
    EXPECT_EQ(rest.size, at == 4 ? 2U : 0U);
    EXPECT_EQ(rest.error, 0);
  }
  EXPECT_EQ(bytes_[0], 'e');
  EXPECT_EQ(ReadFrom(-1, 0, {}).error, 0) << "nothing is asked for";
}

TEST_F(ReadingAPart, UpToABadPlaceWithItsError) {
  const std::array<uint8_t, 6> before = {'a', 'b', 'c', 'd', 'e', 'f'};
  const BadPlace place(before);
  for (unsigned at = 3; at <= 6; ++at) {
    const Transfer read = ReadFrom(place.fd(), place.start() + at, bytes_);
    EXPECT_EQ(read.size, 6U - at);
    EXPECT_EQ(read.error, EIO);
  }
  EXPECT_EQ(bytes_, (std::array<uint8_t, 4>{'f', 'f', 'f', 0}));
  EXPECT_EQ(ReadFrom(place.fd(), place.start() + 2, bytes_).error, 0) << "all came";
}

TEST_F(ReadingAPart, TheBeginningAsMuchAsThereIsRoom) {
  EXPECT_TRUE(ReadBeginning(fd_, 6, bytes_));
  EXPECT_EQ(bytes_, (std::array<uint8_t, 4>{'a', 'b', 'c', 'd'}));
}

TEST_F(ReadingAPart, TheBeginningAsMuchAsTheFileHas) {
  EXPECT_TRUE(ReadBeginning(fd_, 2, bytes_));
  EXPECT_EQ(bytes_, (std::array<uint8_t, 4>{'a', 'b', 0, 0}));
  EXPECT_TRUE(ReadBeginning(-1, 0, bytes_));
}

TEST_F(ReadingAPart, TheBeginningOfAFileThatEndsBeforeItsSize) {
  std::array<uint8_t, 9> more = {};
  errno = EIO;
  EXPECT_FALSE(ReadBeginning(fd_, 7, more));
  EXPECT_EQ(errno, 0);
}

TEST_F(ReadingAPart, CallThatFails) {
  EXPECT_EQ(ReadFrom(-1, 0, bytes_).error, EBADF);
  EXPECT_FALSE(ReadBeginning(-1, 6, bytes_));
  EXPECT_EQ(errno, EBADF);
}

}  // namespace
