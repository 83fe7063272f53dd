// psltool segment: the bytes that it puts into shared memory, what it shows and refuses, and that
// the archiver runs with it. Every kind of segment that the archiver itself refuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>

#include <cstring>
#include <string>
#include <vector>

#include "tests/support/runs/nights.h"

namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

ProgramResult Psltool(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "segment");
  return RunProgram(PSLTOOL_PATH, arguments);
}

bool SegmentExists(int number) {
  shmid_ds status{};
  return shmctl(number, IPC_STAT, &status) == 0;
}

class PsltoolSegment : public ::testing::Test {
 protected:
  ~PsltoolSegment() override {
    for (const int number : made) shmctl(number, IPC_RMID, nullptr);
  }

  // Makes a segment. Returns its number, -1 when psltool refused.
  int Make(const std::vector<std::string>& options) {
    std::vector<std::string> arguments{"make"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const ProgramResult result = Psltool(arguments);
    errors = result.err;
    status = result.status;
    if (status != 0) {
      EXPECT_EQ(result.out, "");
      return -1;
    }
    EXPECT_THAT(result.out, EndsWith("\n"));
    const int number = std::stoi(result.out);
    EXPECT_EQ(result.out, std::to_string(number) + "\n") << "the number alone, for scripts";
    made.push_back(number);
    return number;
  }

  static std::vector<char> BytesOf(int number) {
    shmid_ds state{};
    if (shmctl(number, IPC_STAT, &state) != 0) return {};
    const void* address = shmat(number, nullptr, SHM_RDONLY);
    const char* first = static_cast<const char*>(address);
    std::vector<char> bytes(first, first + state.shm_segsz);
    shmdt(address);
    return bytes;
  }
  template <typename T>
  static T At(const std::vector<char>& bytes, size_t offset) {
    T value;
    std::memcpy(&value, &bytes.at(offset + sizeof value - 1) - (sizeof value - 1), sizeof value);
    return value;
  }

  const std::vector<std::string> plain{"--root", "/srv/root", "--archive", "/srv/psl"};
  std::vector<std::string> PlainAnd(const std::vector<std::string>& more) const {
    std::vector<std::string> options = plain;
    options.insert(options.end(), more.begin(), more.end());
    return options;
  }

  std::vector<int> made;
  std::string errors;
  int status = 0;
};

TEST_F(PsltoolSegment, BytesStandWhereTheDaemonPutsThem) {
  const int number = Make({"--root", "/srv/root/", "--archive", "/srv/psl", "--pml", "/srv/raw",
                           "--keep-psl", "30d", "--keep-hour", "12m", "--keep-day", "2y",
                           "--capacity", "160", "--capacity-override", "900"});
  ASSERT_NE(number, -1) << errors;
  const std::vector<char> bytes = BytesOf(number);
  ASSERT_GE(bytes.size(), 9184u + 9);
  EXPECT_STREQ(&bytes[240], "/srv/root/");
  EXPECT_STREQ(&bytes[6304], "/srv/psl");
  EXPECT_EQ(At<uint8_t>(bytes, 6569), 1);
  EXPECT_EQ(At<int32_t>(bytes, 6572), 160);
  EXPECT_EQ(At<uint16_t>(bytes, 6592), 30);
  EXPECT_EQ(At<uint16_t>(bytes, 6594), 0);
  EXPECT_EQ(At<uint16_t>(bytes, 6596), 12);
  EXPECT_EQ(At<uint16_t>(bytes, 6598), 1);
  EXPECT_EQ(At<uint16_t>(bytes, 6600), 2);
  EXPECT_EQ(At<uint16_t>(bytes, 6602), 2);
  EXPECT_EQ(At<int32_t>(bytes, 9168), 900);
  EXPECT_STREQ(&bytes[9184], "/srv/raw");
}

TEST_F(PsltoolSegment, DefaultsKeepEverythingAndArchive) {
  const int number = Make(plain);
  ASSERT_NE(number, -1) << errors;
  const std::vector<char> bytes = BytesOf(number);
  EXPECT_EQ(At<uint8_t>(bytes, 6569), 1);
  for (size_t offset = 6592; offset < 6604; ++offset) EXPECT_EQ(bytes[offset], 0) << offset;
  EXPECT_STREQ(&bytes[9184], "/srv/root/pml");  // never "/", which a pruning run would sweep
}

TEST_F(PsltoolSegment, ArchivingCanBeOff) {
  const int number = Make(PlainAnd({"--archiving", "off"}));
  ASSERT_NE(number, -1) << errors;
  EXPECT_EQ(At<uint8_t>(BytesOf(number), 6569), 0);
}

TEST_F(PsltoolSegment, OnlyItsOwnerMayUseIt) {
  const int number = Make(plain);
  shmid_ds state{};
  ASSERT_EQ(shmctl(number, IPC_STAT, &state), 0);
  EXPECT_EQ(state.shm_perm.mode & 0777, 0600);
}

TEST_F(PsltoolSegment, RefusedCommandLines) {
  const std::vector<std::vector<std::string>> cases{
      {"--root", "/r"},
      {"--archive", "/a"},
      {"--root", "r", "--archive", "/a"},
      {"--root", "/r", "--archive", "a"},
      {"--root", "/r", "--archive", ""},
      PlainAnd({"--pml", "raw"}),
      PlainAnd({"--keep-psl", "367d"}),
      PlainAnd({"--keep-psl", "25m"}),
      PlainAnd({"--keep-psl", "3y"}),
      PlainAnd({"--keep-psl", "0d"}),
      PlainAnd({"--keep-psl", "d"}),
      PlainAnd({"--keep-psl", "30"}),
      PlainAnd({"--keep-psl", "30w"}),
      PlainAnd({"--keep-psl", "99999999d"}),
      PlainAnd({"--keep-hour", "30d"}),
      PlainAnd({"--keep-hour", "25m"}),
      PlainAnd({"--keep-day", "1d"}),
      PlainAnd({"--keep-day", "3y"}),
      PlainAnd({"--archiving", "maybe"}),
      PlainAnd({"--capacity", "-1"}),
      {"--root", "/" + std::string(258, 'r'), "--archive", "/a"},
      {"--root", "/r", "--archive", "/" + std::string(180, 'a')},
  };
  for (const auto& options : cases) {
    EXPECT_EQ(Make(options), -1) << options.back();
    EXPECT_EQ(status, 2) << options.back();
    EXPECT_NE(errors, "");
  }
}

TEST_F(PsltoolSegment, LongestPeriodsAndPathsAreTaken) {
  EXPECT_NE(Make({"--root", "/" + std::string(256, 'r'), "--archive", "/" + std::string(179, 'a'),
                  "--keep-psl", "366d", "--keep-hour", "24m", "--keep-day", "2y"}),
            -1)
      << errors;
}

TEST_F(PsltoolSegment, ShowTellsWhatMakeWasTold) {
  const int number = Make(PlainAnd({"--keep-psl", "30d", "--keep-day", "2y"}));
  const ProgramResult shown = Psltool({"show", std::to_string(number)});
  EXPECT_EQ(shown.status, 0);
  EXPECT_THAT(shown.out, StartsWith("segment            " + std::to_string(number) + " ("));
  EXPECT_THAT(shown.out, HasSubstr("\nroot directory     /srv/root\n"
                                   "archive directory  /srv/psl\n"
                                   "PML directory      /srv/root/pml\n"
                                   "archiving          on\n"
                                   "keep logs          30d\n"
                                   "keep hour archives none\n"
                                   "keep day archives  2y\n"
                                   "capacity           0, override 0\n"));
  const ProgramResult as_json = Psltool({"show", "--json", std::to_string(number)});
  EXPECT_EQ(as_json.status, 0);
  EXPECT_THAT(as_json.out, HasSubstr("\"keep_psl\": \"30d\""));
  EXPECT_THAT(as_json.out, HasSubstr("\"valid\": true"));
}

TEST_F(PsltoolSegment, ShowNamesWhatTheArchiverRefuses) {
  SegmentBytes bytes;
  bytes.PutDirectories("/r", "/a", "/p");
  bytes.PutArchivingSwitch(7);
  bytes.PutRetention(1, 30, 0);
  const SharedSegment shared(bytes);
  const ProgramResult shown = Psltool({"show", shared.Id()});
  EXPECT_EQ(shown.status, 1);
  EXPECT_THAT(shown.out, HasSubstr("refused            the archiving switch is 7, not 0 or 1\n"
                                   "refused            hour archives cannot be kept 30d\n"));
  const SharedSegment small(SegmentBytes(4096));
  EXPECT_EQ(Psltool({"show", small.Id()}).status, 1);
}

TEST_F(PsltoolSegment, RemoveRemoves) {
  const int number = Make(plain);
  ASSERT_TRUE(SegmentExists(number));
  EXPECT_EQ(Psltool({"remove", std::to_string(number)}).status, 0);
  EXPECT_FALSE(SegmentExists(number));
  const ProgramResult again = Psltool({"remove", std::to_string(number)});
  EXPECT_EQ(again.status, 1);
  EXPECT_THAT(again.err,
              StartsWith("psltool: segment " + std::to_string(number) + ": there is no segment " +
                         std::to_string(number) + "; `ipcs -m` "));
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"remove", "--force"}, {"show"}}) {
    std::vector<std::string> arguments = command;
    arguments.push_back(std::to_string(number));
    const ProgramResult gone = Psltool(arguments);
    EXPECT_EQ(gone.status, 1);
    EXPECT_EQ(gone.err, again.err);
  }
}

TEST_F(PsltoolSegment, ForeignSegmentsAreRemovedOnlyByForce) {
  const int number = shmget(IPC_PRIVATE, 16384, IPC_CREAT | 0600);
  ASSERT_NE(number, -1);
  made.push_back(number);
  EXPECT_EQ(Psltool({"remove", std::to_string(number)}).status, 1);
  EXPECT_TRUE(SegmentExists(number));
  EXPECT_EQ(Psltool({"remove", "--force", std::to_string(number)}).status, 0);
  EXPECT_FALSE(SegmentExists(number));
}

// --- With the archiver ----------------------------------------------------------------------------

class PrefixPsltoolSegment : public PsltoolSegment {};

TEST_F(PrefixPsltoolSegment, PreparedServerArchives) {
  const TempDir place;
  const int number = Make({"--prepare", "--root", place.Path("server"), "--archive",
                           place.Path("data/psl"), "--keep-psl", "1m"});
  ASSERT_NE(number, -1) << errors;
  for (const char* name : {"server/pmon", "server/core/Qelprfd", "server/pml", "data/psl"}) {
    EXPECT_TRUE(std::filesystem::is_directory(place.Path(name))) << name;
  }
  MakeLogs(place.Path("data/psl"), {"--name", "a", "--start", "2024-03-04"});
  const AddedText log = AddedText::OperationLog();
  const ProgramResult run =
      RunProgram(QELPRFARC_TEST_PATH, {"-auto", "-mode", "svr", std::to_string(number)});
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(log.Text(), "");
  EXPECT_THAT(place.Names("data/psl/archive"),
              ::testing::ElementsAre("20240304a.psa", "202403a.psa"));
  EXPECT_FALSE(place.Exists("data/psl/20240304a.psl")) << "older than a month";
}

TEST_F(PrefixPsltoolSegment, PrepareThatFailsMakesNoSegment) {
  const TempDir place;
  place.Write("server", "a file");
  EXPECT_EQ(Make({"--prepare", "--root", place.Path("server"), "--archive", place.Path("psl")}),
            -1);
  EXPECT_EQ(status, 1);
  EXPECT_THAT(errors, HasSubstr(place.Path("server/pmon")));
}

TEST_F(PrefixPsltoolSegment, BootScriptMakesReplacesAndRemovesTheSegment) {
  const TempDir place;
  const std::string script = std::string(TEST_SOURCE_DIR) + "/../packaging/qelprfarc-segment";
  ProgramSettings settings;
  settings.variables = {{"PSLTOOL", PSLTOOL_PATH},
                        {"RUNTIME_DIRECTORY", place.Path()},
                        {"QELPRFARC_ROOT", place.Path("root")},
                        {"QELPRFARC_ARCHIVE", place.Path("psl")},
                        {"QELPRFARC_OPTIONS", "--keep-psl 30d --keep-hour 12m"}};
  const auto run = [&](const char* word) {
    const ProgramResult result = RunProgram(script, {word}, settings);
    EXPECT_EQ(result.err, "");
    return result.status;
  };
  const auto number = [&place] {
    const std::string line = place.Read("segment");
    EXPECT_THAT(line, StartsWith("QELPRFARC_SEGMENT="));
    return std::stoi(line.substr(line.find('=') + 1));
  };
  ASSERT_EQ(run("make"), 0);
  const int first = number();
  made.push_back(first);
  EXPECT_STREQ(&BytesOf(first)[6304], place.Path("psl").c_str());
  EXPECT_EQ(At<uint16_t>(BytesOf(first), 6592), 30);
  EXPECT_TRUE(place.Exists("root/pmon"));
  ASSERT_EQ(run("make"), 0);
  const int second = number();
  made.push_back(second);
  EXPECT_FALSE(SegmentExists(first));
  EXPECT_TRUE(SegmentExists(second));
  ASSERT_EQ(run("remove"), 0);
  EXPECT_FALSE(SegmentExists(second));
  EXPECT_FALSE(place.Exists("segment"));
  EXPECT_EQ(RunProgram(script, {"nonsense"}, settings).status, 2);
}

// --- What the archiver refuses --------------------------------------------------------------------

class PrefixSegmentRefusal : public ::testing::Test {
 protected:
  PrefixSegmentRefusal() {
    MakeLogs(server.directory.Path("arc"), {"--name", "a", "--start", "2024-03-04"});
  }

  // A run that must do nothing but report; the task word depends on how far the switch was read.
  void ExpectRefused(const std::string& what, const std::string& task) {
    SCOPED_TRACE(what);
    const AddedText log = AddedText::OperationLog();
    const ProgramResult run = server.RunAuto();
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(log.Text(), HasSubstr(" 08099 Qelprfarc 5 1 Program error occurred "
                                      "detcode=0301000a\n"));
    EXPECT_THAT(log.Text(),
                EndsWith(" 08320 Qelprfarc 4 1 Failed in " + task + " of psl(psa) files.\n"));
    EXPECT_FALSE(server.directory.Exists("arc/archive"));
    EXPECT_FALSE(server.directory.Exists("root/pmon/arclock"));
    server.segment = good;
  }

  TestServer server;
  const SegmentBytes good = server.segment;
};

TEST_F(PrefixSegmentRefusal, ArchivingSwitch) {
  for (const int value : {2, 3, 255}) {
    server.segment.PutArchivingSwitch(static_cast<uint8_t>(value));
    ExpectRefused("switch " + std::to_string(value), "deletion");
  }
}

TEST_F(PrefixSegmentRefusal, RetentionPeriods) {
  const struct {
    size_t retention_class;
    uint16_t count;
    uint16_t unit;
  } cases[] = {{0, 367, 0}, {0, 25, 1}, {0, 3, 2}, {0, 1, 3},  {1, 1, 0}, {1, 25, 1},
               {1, 3, 2},   {1, 1, 3},  {2, 1, 0}, {2, 25, 1}, {2, 3, 2}, {2, 1, 65535}};
  for (const auto& test : cases) {
    server.segment.PutRetention(test.retention_class, test.count, test.unit);
    ExpectRefused("class " + std::to_string(test.retention_class) + ": " +
                      std::to_string(test.count) + " of unit " + std::to_string(test.unit),
                  "archives");
  }
}

TEST_F(PrefixSegmentRefusal, TextsWithoutEnd) {
  for (const size_t offset : {size_t{240}, size_t{6304}, size_t{9184}}) {
    for (size_t i = 0; i < 300; ++i) server.segment.Put<char>(offset + i, 'x');
    server.segment.PutArchivingSwitch(1);
    // The switch is read behind the archive and the root directory.
    ExpectRefused("text at " + std::to_string(offset), offset == 9184 ? "archives" : "deletion");
  }
}

TEST_F(PrefixSegmentRefusal, SegmentsThatAreTooSmall) {
  for (const size_t size : {size_t{1}, size_t{6304}, size_t{6569}, size_t{6600}, size_t{9184}}) {
    server.segment.bytes().resize(size);
    ExpectRefused("size " + std::to_string(size), size > 6569 ? "archives" : "deletion");
  }
}

TEST_F(PrefixSegmentRefusal, SegmentThatWasRemoved) {
  std::string gone;
  { gone = SharedSegment(server.segment).Id(); }
  const AddedText log = AddedText::OperationLog();
  EXPECT_EQ(RunProgram(QELPRFARC_TEST_PATH, {"-auto", "-mode", "svr", gone}).status, 0);
  EXPECT_THAT(log.Text(), HasSubstr("func=shmat errno="));
  EXPECT_THAT(log.Text(), HasSubstr("detcode=03010004\n"));
  EXPECT_THAT(log.Text(), EndsWith("Failed in deletion of psl(psa) files.\n"));
}

TEST_F(PrefixSegmentRefusal, CapacityOfEmbeddedPruning) {
  const struct {
    int32_t configured;
    int32_t override_value;
  } cases[] = {{0, 0}, {-1, -1}, {160, 19}, {200, 29}};
  for (const auto& test : cases) {
    server.segment.Put<int32_t>(6572, test.configured);
    server.segment.Put<int32_t>(9168, test.override_value);
    const ProgramResult run = server.RunAuto2("1", "0", "0");
    EXPECT_EQ(run.status, 0);
    EXPECT_THAT(run.err, HasSubstr("Program error occurred detcode=0301000a\n"));
    EXPECT_FALSE(server.directory.Exists("root/pmon/arclock"));
  }
}

}  // namespace
