// Slots are handed out by OpenSlots alone: the compiler refuses to take them from a set.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <string>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

namespace {

// What the compiler says of a function that returns `expression`.
ProgramResult Compile(const std::string& expression) {
  TempDir directory;
  directory.Write("read.cc", "#include \"revisions/sets/open_slots.h\"\nauto Read() { return " +
                                 expression + "; }\n");
  const std::string source = std::filesystem::path(TEST_SOURCE_DIR).parent_path();
  return RunProgram(CXX_COMPILER,
                    {"-std=c++20", "-fsyntax-only", "-I", source, directory.Path("read.cc")});
}

TEST(OpenSlots, NothingElseGivesASlot) {
  EXPECT_EQ(Compile("OpenSlots::Heads(resource_sets[kLd])").status, 0);
  for (const char* member : {"block", "heads", "fields"}) {
    const ProgramResult result = Compile(std::string("&resource_sets[kLd].") + member);
    EXPECT_NE(result.status, 0);
    // "is private within this context" of g++, "is a private member of" of clang.
    EXPECT_TRUE(std::regex_search(result.err, std::regex("is (a )?private (within|member)")))
        << result.err;
  }
}

}  // namespace
