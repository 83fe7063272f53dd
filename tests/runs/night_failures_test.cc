// Nights in which one call fails, at any place: nothing is lost without a word. Whatever such a
// night did not do is told, and the next one, undisturbed, leaves what would have been left without
// the failure.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "tests/support/record_bytes.h"
#include "tests/support/runs/nights.h"
#include "tests/support/sample_records.h"

namespace {

// The night of 1 March 2024: logs of three days, of two arrays, in parts, some of them expired;
// hour archives that become a day archive and expire; a marker and remains of a run.
class LongPrefixFailures : public ::testing::Test {
 protected:
  using Tree = std::map<std::string, std::string>;

  void SetUp() override {
    SKIP_WITHOUT_PRELOADING();
    const TestServer server;
    Prepare(server);
    EXPECT_EQ(Night(server, {}).status, 0);
    undisturbed_ = FilesOf(server);
    // What must have happened to be of use here.
    for (const char* name : {"archive/202401a.psa", "archive/202402b.psa", "archive/20240310a.psa",
                             "archive/20240314b.psa"}) {
      EXPECT_TRUE(undisturbed_.contains(name)) << name;
    }
    for (const char* name : {"20240310a#001.psl", "archive/20240115a.psa", "Qelprf.A"}) {
      EXPECT_FALSE(undisturbed_.contains(name)) << name;
    }
  }

  static void Prepare(const TestServer& server) {
    auto& segment = const_cast<TestServer&>(server).segment;
    segment.PutRetention(0, 2, 0);
    segment.PutRetention(1, 1, 1);
    server.directory.MakeDirectory("arc/archive");
    for (const char* name : {"20240115a.psa", "20240116a.psa", "20240220b.psa"}) {
      server.directory.Write(std::string("arc/archive/") + name, FileOfDay(name, 'H'));
    }
    for (const char* name : {"20240310a#001.psl", "20240310a#002.psl", "20240313b.psl",
                             "20240314a.psl", "20240314b#001.psl", "20240314b#002.psl"}) {
      server.directory.Write(std::string("arc/") + name, FileOfDay(name, 'L'));
    }
    server.directory.Write("arc/Qelprf.A");
    server.directory.Write("arc/archive/20240312a.psa_tmp", "remains");
  }

  ProgramResult Night(const TestServer& server, const Variables& disturb) const {
    return RunNight(server, ClockAt("2024-03-15 00:30:00"), disturb);
  }

  static std::vector<std::string> NamesOf(const Tree& tree) {
    std::vector<std::string> names;
    for (const auto& [name, bytes] : tree) names.push_back(name);
    return names;
  }

  // One night in which calls fail by this rule, and the next one.
  void FailAndHeal(const std::string& rule) {
    SCOPED_TRACE(rule);
    const TestServer server;
    Prepare(server);
    const Tree before = FilesOf(server);
    const AddedText log = AddedText::OperationLog();
    const ProgramResult run = Night(server, {{"DISTURB_FAIL", rule}});
    const Tree after = FilesOf(server);
    const std::string told = log.Text() + run.err;
    if (after != undisturbed_) {
      ++told_;
      EXPECT_NE(told, "") << "something was not done, and nothing was said";
    }
    for (const auto& [name, bytes] : after) {
      if (!before.contains(name) && name.ends_with(".psa")) {
        EXPECT_TRUE(undisturbed_.contains(name) && undisturbed_.at(name) == bytes) << name;
      }
    }
    EXPECT_EQ(Night(server, {}).status, 0);
    const Tree healed = FilesOf(server);
    EXPECT_EQ(NamesOf(healed), NamesOf(undisturbed_)) << told;
    EXPECT_TRUE(healed == undisturbed_) << told;
    ++nights_;
  }

  Tree undisturbed_;
  int nights_ = 0;
  int told_ = 0;
};

struct FailingCall {
  const char* call;
  const char* end;  // of the path
  int error;
  int last;    // times that are tried
  int stride;  // between them
};

// Calls of which a night has more than these are sampled.
constexpr FailingCall kCalls[] = {
    {"opendir", "", EACCES, 8, 1},
    {"readdir", "/arc", EIO, 30, 4},
    {"readdir", "/archive", EIO, 40, 6},
    {"stat", "", EIO, 60, 7},
    {"open", ".psl", EACCES, 40, 5},
    {"open", ".psa", EMFILE, 40, 5},
    {"open", "_tmp", ENOSPC, 8, 1},
    {"fstat", ".psl", EIO, 40, 7},
    {"fstat", ".psa", EIO, 30, 7},
    {"pread", "", EIO, 60, 9},
    {"read", "", EIO, 60, 9},
    {"lseek", "", EIO, 60, 11},
    {"write", "_tmp", ENOSPC, 30, 6},
    {"fsync", "", EIO, 14, 1},
    {"close", "_tmp", EIO, 8, 1},
    {"rename", "", EIO, 8, 1},
    {"unlink", "", EACCES, 10, 1},
    {"mkdir", "", EACCES, 2, 1},
};

TEST_F(LongPrefixFailures, OneCallOrAllFromThereOn) {
  for (const FailingCall& failing : kCalls) {
    for (int first = 1; first <= failing.last && !HasFailure(); first += failing.stride) {
      const std::string rule =
          std::string(failing.call) + ":" + failing.end + ":" + std::to_string(first) + ":";
      const std::string error = ":" + std::to_string(failing.error);
      // Once, and for good.
      FailAndHeal(rule + std::to_string(first) + error);
      if (first % 2 == 1) FailAndHeal(rule + "999999" + error);
    }
  }
  printf("%d nights with failing calls, %d of them told of what they did not do\n", nights_, told_);
  EXPECT_GT(told_, 80);
}

// A day that becomes an archive and its sequel.
void PrepareSequel(const TestServer& server) {
  server.directory.MakeDirectory("arc/archive");
  const auto time = static_cast<uint32_t>(LocalTimeIn("UTC", "2024-03-14 12:00:00"));
  for (const uint8_t revision : {uint8_t{0x1C}, uint8_t{0x1D}}) {
    const std::string name = revision == 0x1C ? "20240314s#001.psl" : "20240314s#002.psl";
    server.directory.Write("arc/" + name, spell::Log({.revision = revision, .time = time}, {time}));
  }
}

// Memory that ended between the names of an archive and its sequel took the sequel with it, and the
// first one stood for the whole day.
TEST_F(LongPrefixFailures, LackOfMemoryNeverPartsAnArchiveAndItsSequel) {
  constexpr int kStride = 4;  // fewer than the allocations that there were between the names
  const std::string first = "arc/archive/20240314s.psa";
  const std::string sequel = "arc/archive/20240314s#002.psa";
  int failed = 0;
  bool both = false;
  for (int at = 100; !both && at < 4000; at += kStride) {
    const TestServer server;
    PrepareSequel(server);
    const std::string rule = "malloc::" + std::to_string(at) + ":999999999:12";
    failed += Night(server, {{"DISTURB_FAIL", rule}}).status == 0 ? 0 : 1;
    both = server.directory.Exists(sequel);
    ASSERT_EQ(server.directory.Exists(first), both) << "allocation " << at;
  }
  EXPECT_TRUE(both) << "no run came to its end";
  EXPECT_GT(failed, 10);
}

// A power failure could leave the first name and lose the sequel's temporary one, which would have
// told the next run of it.
TEST_F(LongPrefixFailures, TemporaryNamesAreOnTheDiskBeforeAGroupGetsItsNames) {
  const TestServer server;
  PrepareSequel(server);
  const std::string steps = server.directory.Path("steps");
  ASSERT_EQ(Night(server, {{"DISTURB_STEPS", steps}}).status, 0);
  const std::string text = server.directory.Read("steps");
  const std::string archive = server.directory.Path("arc/archive");
  const size_t written = text.find("s " + archive + "/20240314s#002.psa_tmp\n");
  const size_t synced = text.find("s " + archive + "\n", written);
  const size_t named = text.find("n " + archive + "/20240314s.psa\n");
  ASSERT_NE(written, std::string::npos) << text;
  ASSERT_NE(named, std::string::npos) << text;
  EXPECT_LT(synced, named) << text;
}

// A day of two revisions gets both names or none.
class PrefixParted : public ::testing::Test {
 protected:
  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }
  PrefixParted() { PrepareSequel(server); }

  void Night(const std::string& rules) {
    const AddedText log = AddedText::OperationLog();
    RunNight(server, ClockAt("2024-03-15 00:30:00"), {{"DISTURB_FAIL", rules}});
    entries = log.Text();
  }
  std::vector<std::string> Archives() const { return server.directory.Names("arc/archive"); }

  const TestServer server;
  std::string entries;  // of the operation log
};

constexpr char kUndone[] = " 08320 Qelprfarc 4 1 Failed in archives of psl(psa) files.\n";

TEST_F(PrefixParted, TemporaryNamesThatAreNotOnTheDiskAreNotReplaced) {
  Night("fsync:/arc/archive:1:1:5");
  EXPECT_NE(entries.find("func=fsync errno=5 detcode=03020005\n"), std::string::npos) << entries;
  EXPECT_NE(entries.find(kUndone), std::string::npos) << entries;
  EXPECT_EQ(Archives(), std::vector<std::string>{});
  EXPECT_TRUE(server.directory.Exists("arc/20240314s#001.psl"));
  Night("");
  EXPECT_EQ(Archives(), (std::vector<std::string>{"20240314s#002.psa", "20240314s.psa"}));
}

}  // namespace
