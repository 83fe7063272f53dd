// Tests that use the prefix find it empty. What one of them left once, lines of the year 2061 in
// the trace, made another one fail in every later run until somebody removed them by hand.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/process.h"
#include "tests/support/runs/prefix.h"

namespace {

const std::string kTrace = std::string(QELPRFARC_TEST_PREFIX) + "etc/trace/Qelprfarc.trc";

TEST(PrefixStart, IsEmpty) {
  EXPECT_TRUE(std::filesystem::is_directory(QELPRFARC_TEST_PREFIX));
  EXPECT_TRUE(std::filesystem::is_empty(QELPRFARC_TEST_PREFIX));
}

TEST(PrefixStart, ForgetsWhatAnEarlierTestLeft) {
  std::filesystem::create_directories(std::filesystem::path(kTrace).parent_path());
  std::ofstream(kTrace) << "2061/05/10 00:30:00.100 77 Qelprfarc:58 $main():arc start\n";
  ASSERT_TRUE(std::filesystem::exists(kTrace));
  // As ctest runs each: a program of its own.
  const std::string tests = std::filesystem::read_symlink("/proc/self/exe").string();
  EXPECT_EQ(RunProgram(tests, {"--gtest_filter=-*"}).status, 0);
  EXPECT_TRUE(std::filesystem::exists(kTrace)) << "only a test empties the prefix";
  const ProgramResult next = RunProgram(tests, {"--gtest_filter=PrefixStart.IsEmpty"});
  EXPECT_EQ(next.status, 0) << next.out;
  EXPECT_FALSE(std::filesystem::exists(kTrace));
}

}  // namespace
