// The released programs are hardened: what readelf tells of them as they were built.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::Not;

class Hardening : public ::testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
#if defined(__SANITIZE_ADDRESS__) || !defined(NDEBUG)
    GTEST_SKIP() << "sanitizer and debug builds are not hardened";
#endif
    if (RunProgram("/usr/bin/env", {"readelf", "--version"}).status != 0) {
      GTEST_SKIP() << "readelf is not installed";
    }
  }

  static std::string Readelf(const std::string& what) {
    const ProgramResult result = RunProgram("/usr/bin/env", {"readelf", "-W", what, GetParam()});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }
};

TEST_P(Hardening, AddressesAreChosenAtTheStart) {
  EXPECT_THAT(Readelf("-h"), HasSubstr("DYN (Position-Independent Executable file)"));
}

TEST_P(Hardening, LinksAreReadOnlyAndTheStackHoldsNoCode) {
  const std::string segments = Readelf("-l");
  EXPECT_THAT(segments, HasSubstr(" GNU_RELRO "));
  EXPECT_THAT(segments, ContainsRegex(" GNU_STACK .* RW  *0x"));
  EXPECT_THAT(segments, Not(ContainsRegex(" GNU_STACK .* RWE ")));
  // Full: everything is bound before the program begins.
  EXPECT_THAT(Readelf("-d"), ContainsRegex("\\(FLAGS_1\\) .* NOW"));
}

// All of what is compiled into them.
class HardenedCode : public Hardening {};

TEST_P(HardenedCode, StacksAndBuffersAreGuarded) {
  const std::string symbols = Readelf("--dyn-syms");
  EXPECT_THAT(symbols, HasSubstr(" __stack_chk_fail@"));
  EXPECT_THAT(symbols, ContainsRegex(" __v?snprintf_chk@"));
}

#ifdef __x86_64__
// The mark of the whole file is given only when the system's start files have theirs, which those
// of Debian 12 have not; so the functions are looked at.
TEST_P(HardenedCode, FunctionsAreMarkedAsTargetsOfJumps) {
  const std::string mark = "\xF3\x0F\x1E\xFA";  // endbr64
  const std::string program = TempDir::ReadFile(GetParam());
  size_t marked = 0;
  for (size_t at = program.find(mark); at != std::string::npos; at = program.find(mark, at + 4)) {
    ++marked;
  }
  EXPECT_GT(marked, 300U);
}
#endif

std::string NameOf(const ::testing::TestParamInfo<const char*>& program) {
  return program.index == 0 ? "Qelprfarc" : "psltool";
}

INSTANTIATE_TEST_SUITE_P(Programs, Hardening, ::testing::Values(QELPRFARC_PATH, PSLTOOL_PATH),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Programs, HardenedCode, ::testing::Values(QELPRFARC_PATH, PSLTOOL_PATH),
                         NameOf);

}  // namespace
