// `psltool seal`: what goes into SHA256SUMS, what stays there, and what is told.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/model/random_source.h"
#include "tests/model/slow_archiver.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"
#include "tools/checking/digest.h"

using namespace psltool;

namespace {

using spell::Bytes;

ProgramResult Psltool(const TempDir& dir, const std::vector<std::string>& arguments) {
  return RunProgram(PSLTOOL_PATH, arguments, {dir.Path(), {}});
}

ProgramResult Seal(const TempDir& dir, std::vector<std::string> more = {}) {
  more.insert(more.begin(), {"seal", "."});
  return Psltool(dir, more);
}

// The system's own judgment.
int Sha256sum(const TempDir& dir) {
  return RunProgram("/bin/sh", {"-c", "sha256sum --strict --quiet -c SHA256SUMS"}, {dir.Path(), {}})
      .status;
}

// An hour archive of one disk, as the archiver makes it of a log.
Bytes Archive(uint32_t time = spell::kNewYear) {
  const Bytes log = spell::Log({.time = time}, {time + 3540});
  const auto files =
      model::RunArchiver({{"20240101array01.psl", {log.begin(), log.end()}}}, {}).files;
  EXPECT_EQ(files.size(), 1U);
  const model::Bytes& archive = files.begin()->second;
  return {archive.begin(), archive.end()};
}

void WriteTwo(const TempDir& dir) {
  dir.Write("20240101array01.psa", Archive());
  dir.Write("20240102array01.psa", Archive(spell::kNewYear + spell::kDay));
}

ino_t InodeOf(const std::string& path) {
  struct stat state {};
  return stat(path.c_str(), &state) == 0 ? state.st_ino : 0;
}

TEST(PsltoolDigest, IsTheOneOfTheStandard) {
  TempDir dir;
  Progress progress(false);
  dir.Write("empty");
  dir.Write("abc", "abc");
  EXPECT_EQ(DigestOfFile(dir.Path("empty"), progress).hex,
            "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(DigestOfFile(dir.Path("abc"), progress).hex,
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  dir.Write("million", std::string(1000000, 'a'));
  EXPECT_EQ(DigestOfFile(dir.Path("million"), progress).hex,
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
  EXPECT_EQ(DigestOfFile(dir.Path("none"), progress).end, DigestEnd::kMissing);
  EXPECT_EQ(DigestOfFile(dir.Path(), progress).end, DigestEnd::kUnreadable);
}

TEST(PsltoolSeal, NewArchivesAreSealedInTheFormOfSha256sum) {
  TempDir dir;
  WriteTwo(dir);
  const ProgramResult result = Seal(dir);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out,
            "20240101array01.psa: sealed\n20240102array01.psa: sealed\n"
            "0 kept, 2 added, 0 renewed, 0 forgotten, 0 findings\n");
  const ProgramResult system = RunProgram(
      "/bin/sh", {"-c", "sha256sum 20240101array01.psa 20240102array01.psa"}, {dir.Path(), {}});
  ASSERT_EQ(system.status, 0);
  EXPECT_EQ(dir.Read("SHA256SUMS"), system.out);
  EXPECT_EQ(Sha256sum(dir), 0);
  EXPECT_EQ(dir.Names().size(), 3U);
}

TEST(PsltoolSeal, WhatIsUnchangedKeepsItsLineAndTheFileItself) {
  TempDir dir;
  WriteTwo(dir);
  ASSERT_EQ(Seal(dir).status, 0);
  const ino_t before = InodeOf(dir.Path("SHA256SUMS"));
  const ProgramResult again = Seal(dir);
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.out, "2 kept, 0 added, 0 renewed, 0 forgotten, 0 findings\n");
  EXPECT_EQ(InodeOf(dir.Path("SHA256SUMS")), before);

  // Lines that somebody else wrote stay as they are, in their places.
  const std::string lines = dir.Read("SHA256SUMS");
  dir.Write("20240103array01.psa", Archive(spell::kNewYear + 2 * spell::kDay));
  dir.Write("note", "abc");
  const std::string more =
      "# by hand\n\nBA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD *note\n" +
      lines;
  dir.Write("SHA256SUMS", more);
  const ProgramResult third = Seal(dir);
  EXPECT_EQ(third.status, 0) << third.out << third.err;
  EXPECT_EQ(dir.Read("SHA256SUMS").substr(0, more.size()), more);
  EXPECT_NE(dir.Read("SHA256SUMS").find("  20240103array01.psa\n"), std::string::npos);
  EXPECT_NE(third.out.find("3 kept, 1 added"), std::string::npos) << third.out;
}

TEST(PsltoolSeal, AChangedArchiveIsAFindingUntilItIsRenewed) {
  TempDir dir;
  WriteTwo(dir);
  ASSERT_EQ(Seal(dir).status, 0);
  const std::string sealed = dir.Read("SHA256SUMS");
  dir.Write("20240101array01.psa", Archive(spell::kNewYear + 3600));
  dir.Write("20240103array01.psa", Archive(spell::kNewYear + 2 * spell::kDay));
  for (int i = 0; i < 2; ++i) {
    const ProgramResult result = Seal(dir);
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.out.find("20240101array01.psa: FINDING: digest differs from SHA256SUMS"),
              std::string::npos)
        << result.out;
    // The new one is sealed all the same; the old line is what it was.
    EXPECT_EQ(dir.Read("SHA256SUMS").substr(0, sealed.size()), sealed);
    EXPECT_NE(dir.Read("SHA256SUMS").find("20240103array01.psa"), std::string::npos);
  }
  EXPECT_NE(Sha256sum(dir), 0);
  const ProgramResult renewed = Seal(dir, {"--renew", "20240101array01.psa"});
  EXPECT_EQ(renewed.status, 0) << renewed.err;
  EXPECT_NE(renewed.out.find("20240101array01.psa: sealed anew\n"), std::string::npos);
  EXPECT_EQ(Sha256sum(dir), 0);
  EXPECT_EQ(Seal(dir, {"--renew", dir.Path("20240102array01.psa")}).status, 0);
  EXPECT_EQ(Seal(dir, {"--renew", "20240109array01.psa"}).status, 2);
  EXPECT_EQ(Seal(dir, {"--renew", "/etc/hostname"}).status, 2);
}

TEST(PsltoolSeal, LinesOfFilesThatAreGoneAreDroppedOnlyOnRequest) {
  TempDir dir;
  WriteTwo(dir);
  ASSERT_EQ(Seal(dir).status, 0);
  const std::string sealed = dir.Read("SHA256SUMS");
  unlink(dir.Path("20240101array01.psa").c_str());
  const ProgramResult told = Seal(dir);
  EXPECT_EQ(told.status, 1);
  EXPECT_NE(told.out.find("20240101array01.psa: FINDING: sealed, but gone"), std::string::npos);
  EXPECT_EQ(dir.Read("SHA256SUMS"), sealed);
  const ProgramResult forgotten = Seal(dir, {"--forget"});
  EXPECT_EQ(forgotten.status, 0);
  EXPECT_NE(forgotten.out.find("20240101array01.psa: gone, its line is dropped\n"),
            std::string::npos);
  EXPECT_EQ(dir.Read("SHA256SUMS"), sealed.substr(sealed.find('\n') + 1));
  EXPECT_EQ(Sha256sum(dir), 0);
}

TEST(PsltoolSeal, WhatIsNotFinishedIsNotSealed) {
  TempDir dir;
  WriteTwo(dir);
  dir.Write("20240103array01.psa_tmp", Archive());
  dir.Write("20240103array01.psa_tmp.psa", Archive());
  dir.Write("20240104array01.psa");  // the archiver's mark
  dir.Write("20240105array01.txt", Archive());
  dir.Write("20240106array01.psa", Archive().substr(0, Archive().size() - 1));
  dir.MakeDirectory("20240107array01.psa");
  const ProgramResult result = Seal(dir);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 5) << result.out;
  EXPECT_NE(result.out.find("20240104array01.psa: empty"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("20240106array01.psa: FINDING: not sealed: record 2 (STA) at offset"),
            std::string::npos)
      << result.out;
  EXPECT_NE(result.out.find("2 added"), std::string::npos);
  const std::string sums = dir.Read("SHA256SUMS");
  EXPECT_EQ(std::count(sums.begin(), sums.end(), '\n'), 2) << sums;
}

TEST(PsltoolSeal, OnlyNewArchivesAreReadOnRequest) {
  TempDir dir;
  WriteTwo(dir);
  ASSERT_EQ(Seal(dir).status, 0);
  dir.Write("20240101array01.psa", "changed");
  dir.Write("20240103array01.psa", Archive());
  const ProgramResult result = Seal(dir, {"--new"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out,
            "20240103array01.psa: sealed\n"
            "0 kept, 1 added, 0 renewed, 0 forgotten, 0 findings; 2 not looked at\n");
}

TEST(PsltoolSeal, OddNamesAreWrittenAsSha256sumReadsThem) {
  TempDir dir;
  dir.Write("2024 \\ odd\nname.psa", Archive());
  ASSERT_EQ(Seal(dir).status, 0);
  EXPECT_EQ(Sha256sum(dir), 0);
  EXPECT_EQ(Seal(dir).out, "1 kept, 0 added, 0 renewed, 0 forgotten, 0 findings\n");
}

// However a line leads to its file from here: it is that file's.
TEST(PsltoolSeal, NamesThatBeginHereAreTheSameNames) {
  for (const char* here : {"./", "././", ".//", ".//././//"}) {
    TempDir dir;
    dir.Write("2024.psa", Archive());
    ASSERT_EQ(Seal(dir).status, 0);
    std::string line = dir.Read("SHA256SUMS");
    line.insert(line.find("2024"), here);
    dir.Write("SHA256SUMS", line);
    EXPECT_EQ(Sha256sum(dir), 0) << here;
    EXPECT_EQ(Seal(dir).out, "1 kept, 0 added, 0 renewed, 0 forgotten, 0 findings\n") << here;
    EXPECT_EQ(dir.Read("SHA256SUMS"), line);
  }
}

TEST(PsltoolSeal, ASumsFileThatIsNoneIsLeftAlone) {
  TempDir dir;
  WriteTwo(dir);
  ASSERT_EQ(Seal(dir).status, 0);
  const std::string sealed = dir.Read("SHA256SUMS");
  const std::string twice = "0" + sealed.substr(1, sealed.find('\n'));
  const std::string good_first = sealed[0] == '0' ? "1" + twice.substr(1) : twice;
  for (const std::string& bad : {"?" + sealed.substr(1), sealed.substr(0, 40) + "\n",
                                 sealed + good_first, sealed.substr(0, 66) + "./\n"}) {
    dir.Write("SHA256SUMS", bad);
    const ProgramResult result = Seal(dir);
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("SHA256SUMS: line "), std::string::npos) << result.err;
    EXPECT_EQ(dir.Read("SHA256SUMS"), bad);
    // `check` does not pass over it in silence either.
    EXPECT_EQ(Psltool(dir, {"check", "20240101array01.psa"}).status, 2);
  }
}

TEST(PsltoolSeal, TwoAtOnceExcludeEachOther) {
  TempDir dir;
  WriteTwo(dir);
  const int fd = open(dir.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(fd, LOCK_EX), 0);
  const ProgramResult result = Seal(dir);
  EXPECT_EQ(result.status, 2);
  EXPECT_NE(result.err.find("is being sealed by another process"), std::string::npos);
  EXPECT_FALSE(dir.Exists("SHA256SUMS"));
  close(fd);
  EXPECT_EQ(Seal(dir).status, 0);
}

// Logs were passed over. That of a day that is not over is still being written.
TEST(PsltoolSeal, LogsOfDaysThatAreOverAreSealed) {
  TempDir dir;
  WriteTwo(dir);
  const Bytes log = spell::Log({}, {spell::kNewYear});
  dir.Write("20240101array01.psl", log);
  dir.Write("20240101array01#002.psl", log);
  dir.Write("20240102array01.psl", log.substr(0, log.size() - 1));
  dir.Write("20240103array01.psl");
  dir.Write("29991231array01.psl", log);
  dir.Write(".20240104array01.psl", log);
  const ProgramResult result = Seal(dir);
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out.substr(0, result.out.find("20240102array01.psl: FINDING: not sealed: ")),
            "20240101array01#002.psl: sealed\n20240101array01.psa: sealed\n"
            "20240101array01.psl: sealed\n20240102array01.psa: sealed\n");
  const std::string end =
      "20240103array01.psl: empty: not sealed\n"
      "29991231array01.psl: still being written: not sealed, left to the next time\n"
      "0 kept, 4 added, 0 renewed, 0 forgotten, 1 finding\n";
  EXPECT_TRUE(result.out.ends_with(end)) << result.out;
  EXPECT_EQ(Sha256sum(dir), 0);
  // Named, it is sealed as it is.
  EXPECT_EQ(Seal(dir, {"--renew", "29991231array01.psl"}).status, 1);
  EXPECT_NE(dir.Read("SHA256SUMS").find("29991231array01.psl"), std::string::npos);
}

// `check` of a directory knows what should be there.
TEST(PsltoolSeal, CheckTellsOfSealedFilesThatAreGone) {
  TempDir dir;
  dir.MakeDirectory("a/below");
  const Bytes log = spell::Log({}, {spell::kNewYear});
  for (const char* name : {"a/20240101array01.psl", "a/20240102array01.psl",
                           "a/below/20240103array01.psl", "a/below/20240104array01.psl"}) {
    dir.Write(name, log);
  }
  ASSERT_EQ(Psltool(dir, {"seal", "a"}).status, 0);
  ASSERT_EQ(Psltool(dir, {"seal", "a/below"}).status, 0);
  EXPECT_EQ(Psltool(dir, {"check", "a"}).status, 0);
  std::filesystem::remove(dir.Path("a/20240101array01.psl"));
  std::filesystem::remove(dir.Path("a/below/20240104array01.psl"));
  const ProgramResult result = Psltool(dir, {"check", "a/"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            "a/20240101array01.psl: error: has a line in SHA256SUMS, but is gone [sealed-gone]\n"
            "a/below/20240104array01.psl: error: has a line in SHA256SUMS, but is gone "
            "[sealed-gone]\n"
            "4 files, 2 with findings: 2 errors, 0 warnings\n");
  // A file by itself says nothing of its neighbours.
  EXPECT_EQ(Psltool(dir, {"check", "a/20240102array01.psl"}).status, 0);
  EXPECT_EQ(Psltool(dir, {"seal", "a", "--forget"}).status, 0);
  EXPECT_EQ(Psltool(dir, {"seal", "a/below", "--forget"}).status, 0);
  EXPECT_EQ(Psltool(dir, {"check", "a"}).status, 0);
}

TEST(PsltoolSeal, AFullDiskLeavesTheOldSeals) {
  TempDir dir;
  WriteTwo(dir);
  ASSERT_EQ(Seal(dir).status, 0);
  const std::string sealed = dir.Read("SHA256SUMS");
  dir.Write("20240103array01.psa", Archive());
  const std::vector<std::string> names = dir.Names();
  const ProgramResult result =
      RunProgram("/bin/sh", {"-c", "{ ulimit -f 0; exec \"$0\" seal .; } 2>&1 | cat", PSLTOOL_PATH},
                 {dir.Path(), {}});
  EXPECT_NE(result.out.find("File too large"), std::string::npos) << result.out;
  EXPECT_EQ(dir.Read("SHA256SUMS"), sealed);
  EXPECT_EQ(dir.Names(), names);
}

TEST(PsltoolSeal, JsonTellsTheStateOfEachFile) {
  TempDir dir;
  WriteTwo(dir);
  ASSERT_EQ(Seal(dir).status, 0);
  dir.Write("20240102array01.psa", "x");
  const auto report = nlohmann::json::parse(Seal(dir, {"--json"}).out);
  EXPECT_EQ(report["written"], false);
  EXPECT_EQ(report["files"][0]["state"], "kept");
  EXPECT_EQ(report["files"][1]["name"], "20240102array01.psa");
  EXPECT_EQ(report["files"][1]["state"], "changed");
  EXPECT_EQ(report["files"][1]["finding"], true);
}

// A digest sees what no rule of the format could: any byte.
TEST(PsltoolSeal, CheckNamesAFileOfWhichOneByteDiffers) {
  TempDir dir;
  const std::string name = "20240304array01.psa";
  ASSERT_EQ(Psltool(dir, {"make", "-q", "--days", "2", "--interval", "21600", "--ld", "3", "--pd",
                          "2", "--extended", "full"})
                .status,
            0);
  ASSERT_EQ(
      RunProgram(QELPRFARC_PATH, {"20240304array01.psl", "20240305array01.psl"}, {dir.Path(), {}})
          .status,
      0);
  const Bytes whole = dir.Read(name);
  ASSERT_EQ(Seal(dir).status, 0);
  ASSERT_EQ(Psltool(dir, {"check", "--strict", "."}).status, 0);
  model::Random random(7);
  int by_digest_alone = 0;
  for (int i = 0; i < 120; ++i) {
    Bytes bytes = whole;
    const size_t at = random.Below(bytes.size());
    bytes[at] = static_cast<char>(bytes[at] ^ (1 << random.Below(8)));
    dir.Write(name, bytes);
    const ProgramResult result = Psltool(dir, {"check", "--strict", "."});
    EXPECT_EQ(result.status, 1) << at;
    EXPECT_NE(result.out.find(name + ": error: digest differs from SHA256SUMS [digest]\n"),
              std::string::npos)
        << at << result.out;
    EXPECT_EQ(result.out.find("20240305array01.psa"), std::string::npos) << result.out;
    by_digest_alone += std::count(result.out.begin(), result.out.end(), '\n') == 2 ? 1 : 0;
    EXPECT_NE(Sha256sum(dir), 0) << at;
  }
  EXPECT_GT(by_digest_alone, 40);
  const auto report = nlohmann::json::parse(Psltool(dir, {"check", "--json", "."}).out);
  const auto& finding = report["files"][0]["findings"].back();
  EXPECT_EQ(finding["class"], "digest");
  EXPECT_TRUE(finding["offset"].is_null());
  dir.Write(name, whole);
  EXPECT_EQ(Psltool(dir, {"check", "--strict", "."}).status, 0);
  EXPECT_EQ(Sha256sum(dir), 0);
}

}  // namespace
