// Slots are read settled: with all entries that were read for them, and without those that were
// read for slots that are gone or cleared.
#include "revisions/fold/settled.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "revisions/fold/fold.h"
#include "revisions/sets/provide.h"
#include "tests/support/process.h"
#include "tests/support/record_builder.h"
#include "tests/support/revision_run.h"
#include "tests/support/tempdir.h"

namespace revtest {
namespace {

class Settled : public ::testing::Test {
 protected:
  Settled() { run.Feed(StructureBuilder(0x21).Add(kLd, {{0, 1}, {0, 2}}).Build()); }

  // Reads one interval of both disks.
  void Read(unsigned count) {
    StatisticsBuilder record(0x21);
    for (const unsigned disk : {1U, 2U}) {
      Bytes entry(96);
      record.Add(kLd, entry.U32(4, 1000).U16(8, disk).Quad(16, count * disk, 1, 1, 1));
    }
    run.Feed(record.Build());
  }
  static double Operations(int32_t slot) {
    return SettledSlots(kLd).At<kLdSta, QuadRule::kCurrent>(slot).Sum(0, 0);
  }

  RevisionRun run{0x21};
};

TEST_F(Settled, SlotsHaveAllThatWasRead) {
  Read(10);
  Read(5);
  EXPECT_TRUE(AnyPending());
  EXPECT_EQ(Operations(0), 15);
  EXPECT_FALSE(AnyPending());
  EXPECT_EQ(Operations(1), 30);
}

TEST_F(Settled, EntriesOfClearedSlotsAreForgotten) {
  Read(10);
  ClearSlots(kLd);
  EXPECT_FALSE(AnyPending());
  EXPECT_EQ(Operations(0), 0);
  Read(10);
  ClearSlots(kLd);
  Read(3);
  EXPECT_EQ(Operations(0), 3);
  EXPECT_EQ(Operations(1), 6);
}

TEST_F(Settled, EntriesOfSlotsThatAreProvidedAnewAreForgotten) {
  Read(10);
  StartSet(kLd);
  EXPECT_FALSE(AnyPending());
  EXPECT_EQ(Operations(0), 0);
  Read(3);
  EXPECT_EQ(Operations(1), 6);
}

TEST_F(Settled, EntriesOfDroppedSlotsAreForgotten) {
  Read(10);
  DropSets();
  EXPECT_FALSE(AnyPending());
}

// What the compiler says of a function that returns `expression`.
ProgramResult Compile(const std::string& expression) {
  TempDir directory;
  directory.Write("read.cc", "#include \"revisions/fold/settled.h\"\nauto Read() { return " +
                                 expression + "; }\n");
  const std::string source = std::filesystem::path(TEST_SOURCE_DIR).parent_path();
  return RunProgram(CXX_COMPILER,
                    {"-std=c++20", "-fsyntax-only", "-I", source, directory.Path("read.cc")});
}

TEST(SettledSlotsType, NothingElseGivesASlot) {
  EXPECT_EQ(Compile("SettledSlots(kLd).set().entries").status, 0);
  for (const char* member : {"slot_block", "field_block", "fields"}) {
    const ProgramResult result = Compile(std::string("&resource_sets[kLd].") + member);
    EXPECT_NE(result.status, 0);
    EXPECT_NE(result.err.find("is private within this context"), std::string::npos) << result.err;
  }
}

}  // namespace
}  // namespace revtest
