// What `psltool check` sees of an archive without its inputs: sound archives have no findings, each
// kind of damage has its class, and so much of all single changed bytes is noticed.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tests/model/random_logs.h"
#include "tests/model/random_source.h"
#include "tests/model/slow_archiver.h"
#include "tests/model/time_zone.h"
#include "tests/support/archive_parts.h"
#include "tests/support/process.h"
#include "tests/support/revision_param.h"
#include "tests/support/tools/psl_check.h"

namespace {

using model::CaseOptions;
using model::InputFile;

std::string TextOf(const model::Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// How much more than in the suite is done: QELPRFARC_WALK=20 for a longer walk.
uint64_t Walk() {
  const char* const text = std::getenv("QELPRFARC_WALK");
  return text == nullptr ? 1 : std::max(1ULL, std::strtoull(text, nullptr, 10));
}

// ---- no false finding ----

class PsltoolCheckArchives : public testing::TestWithParam<int> {
 protected:
  static std::vector<InputFile> Archive(const std::vector<InputFile>& inputs, char level) {
    std::vector<InputFile> archives;
    model::RunOptions options;
    options.day = level == 'D';
    for (const auto& [name, bytes] : model::RunArchiver(inputs, options).files) {
      archives.push_back({name, bytes});
    }
    return archives;
  }
  // Errors of archives, as the model makes them of any collector's words.
  int ExpectSound(const std::vector<InputFile>& archives) {
    for (const InputFile& archive : archives) {
      const Checked checked = CheckBytes(TextOf(archive.bytes));
      EXPECT_EQ(checked.Errors(), "") << archive.name;
      for (const Finding& finding : checked.findings) {
        EXPECT_STRNE(finding.code, "header-unused") << archive.name;
        if (finding.severity == Severity::kError) ADD_FAILURE() << Describe(finding);
      }
    }
    return static_cast<int>(archives.size());
  }
};

TEST_P(PsltoolCheckArchives, SoundOnesHaveNoErrors) {
  const model::ScopedZone zone("Europe/Berlin");
  const auto revision = static_cast<uint8_t>(GetParam());
  int archives = 0;
  for (uint64_t seed = 500; seed < 500 + 12 * Walk(); ++seed) {
    SCOPED_TRACE(seed);
    CaseOptions options;
    options.mixed_revisions = seed % 4 == 1;
    options.large = seed % 12 == 0;
    options.faults = seed % 4 == 2;
    const std::vector<InputFile> logs = model::MakeRandomLogs(seed, revision, options);
    const std::vector<InputFile> hours = Archive(logs, 'H');
    archives += ExpectSound(hours);
    archives += ExpectSound(Archive(logs, 'D'));
    if (!hours.empty()) archives += ExpectSound(Archive(hours, 'D'));
    if (HasFailure()) return;
  }
  EXPECT_GT(archives, 10);
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolCheckArchives, EachRevision(), RevisionParam<int>);

TEST(PsltoolCheckGolden, ReviewedArchivesHaveNoFindings) {
  int archives = 0;
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(TEST_SOURCE_DIR "/data/golden")) {
    if (entry.path().extension() != ".psa") continue;
    const Checked checked = CheckPath(entry.path());
    for (const Finding& finding : checked.findings) {
      // Their counters are made up: means and extremes need not fit.
      if (finding.severity == Severity::kNote) continue;
      ADD_FAILURE() << entry.path() << ": " << Describe(finding) << " [" << finding.code << "]";
    }
    ++archives;
  }
  EXPECT_GE(archives, 18);
}

// ---- each class ----

// Realistic logs of one day, archived to both levels by the program.
class MadeArchives {
 public:
  explicit MadeArchives(int revision) {
    const std::vector<std::string> make = {
        "make",       "-q",  "--revision", std::to_string(revision),
        "--interval", "900", "--days",     "2",
        "--ld",       "6",   "--pd",       "6",
        "--hp",       "4",   "-o",         "."};
    EXPECT_EQ(Run(PSLTOOL_PATH, make).status, 0);
    EXPECT_EQ(
        Run("/bin/sh", {"-c", "mkdir hour && exec \"$0\" -o hour 2*.psl", QELPRFARC_PATH}).status,
        0);
    EXPECT_EQ(Run("/bin/sh", {"-c", "exec \"$0\" -o . hour/*", QELPRFARC_PATH}).status, 0);
  }
  std::string Hour() const { return dir_.Path("hour/20240304array01.psa"); }
  std::string Day() const { return dir_.Path("202403array01.psa"); }

 private:
  ProgramResult Run(const std::string& program, const std::vector<std::string>& arguments) const {
    return RunProgram(program, arguments, {dir_.Path(), {}});
  }
  TempDir dir_;
};

// Where things stand in an archive.
struct Layout {
  explicit Layout(const std::string& path) {
    PslReader reader(path);
    EXPECT_TRUE(reader.Open());
    while (reader.Next()) {
      if (reader.tag() == "CON" && structure == 0) structure = reader.position();
      if (reader.tag() == "STA" && statistics == 0) {
        statistics = reader.position();
        length = reader.length();
      }
    }
    ForEachPart(path, [&](const PslReader& at, const RecordPart& part) {
      if (at.position() != statistics) return;
      auto& places = part.type == RecordPart::Type::kItem ? items : entries;
      places[part.kind].push_back(at.position() + part.at);
    });
  }
  uint64_t structure = 0;
  uint64_t statistics = 0;  // the first record
  uint32_t length = 0;
  std::map<Kind, std::vector<uint64_t>> entries;
  std::map<Kind, std::vector<uint64_t>> items;
};

struct Damage {
  const char* code;
  Severity severity;
  uint64_t at;                 // of the change
  std::vector<uint8_t> bytes;  // put there
  uint64_t offset;             // of the finding
};

TEST(PsltoolCheckClasses, EachIsTold) {
  const MadeArchives made(0x21);
  const std::string sound = TempDir::ReadFile(made.Hour());
  const Layout places(made.Hour());
  ASSERT_NE(places.structure, 0U);
  ASSERT_NE(places.statistics, 0U);
  const uint64_t record = places.statistics;
  const auto entry = [&](Kind kind, size_t i = 0) { return places.entries.at(kind).at(i); };
  const auto item = [&](Kind kind) { return places.items.at(kind).at(0); };
  constexpr Severity kError = Severity::kError;
  constexpr Severity kNote = Severity::kNote;
  const uint64_t last_pool = places.entries.at(kPool).back();
  const uint8_t other_key = static_cast<uint8_t>(sound[entry(kHd, 1) + 8]);
  const std::vector<Damage> damages = {
      {"unused-bytes", kError, record + 200, {1}, record + 200},
      {"unused-bytes", kError, record + 15, {9}, record + 15},
      {"unused-bytes", kError, entry(kPd) + 25, {1}, entry(kPd) + 25},
      {"unused-bytes", kError, entry(kLd) + 13, {0x81}, entry(kLd) + 13},
      {"valid-length", kError, entry(kLd) + 11, {1}, entry(kLd) + 11},
      {"valid-length", kError, entry(kHp) + 4, {0, 0, 0, 0}, entry(kHp) + 11},
      {"compact-kind", kError, last_pool + 10, {1}, last_pool + 10},
      {"count-form", kError, entry(kHp) + 16, {0x80, 0, 0, 0x10}, entry(kHp) + 16},
      {"mean-of-none", kError, entry(kHp) + 16, {0, 0, 0, 0}, entry(kHp) + 20},
      {"ratio-bound", kError, entry(kCache) + 20, {0x27, 0x11}, entry(kCache) + 20},
      {"key-order", kError, entry(kHd) + 8, {other_key}, entry(kHd) + 8},
      {"archive-offset", kError, record + 112 + 7, {0x08}, record + 112 + 4},
      {"structure-form", kError, places.structure + 13, {1}, places.structure + 13},
      {"structure-form", kError, places.structure + 200, {1}, places.structure + 200},
      {"item-form", kError, item(kCab) + 13, {0}, item(kCab) + 13},
      {"item-form", kError, item(kLdCp) + 27, {1}, item(kLdCp) + 27},
      {"item-missing", kError, item(kCab) + 12, {99}, record + 16},
      {"mean-over-max", kNote, entry(kHp) + 24, {0, 0, 0, 0}, entry(kHp) + 20},
      {"ratio-over", kNote, entry(kHp) + 14, {0x27, 0x11}, entry(kHp) + 14},
      {"extremes", kNote, entry(kHp) + 112, {0, 0, 0, 0}, entry(kHp) + 112},
      {"extremes", kNote, entry(kHp) + 200 - 8, {0, 0, 0, 0}, entry(kHp) + 200 - 8},
      {"interval-odd", kNote, entry(kHp) + 7, {0x55}, entry(kHp) + 4},
      {"stamp-far", kNote, record + 4, {0x66}, record + 4},
  };
  for (const Damage& damage : damages) {
    SCOPED_TRACE(std::string(damage.code) + " at " + std::to_string(damage.at));
    std::string bytes = sound;
    for (size_t i = 0; i < damage.bytes.size(); ++i) {
      bytes[damage.at + i] = static_cast<char>(damage.bytes[i]);
    }
    ASSERT_NE(bytes, sound);
    const Checked checked = CheckBytes(bytes);
    bool told = false;
    std::string all;
    for (const Finding& finding : checked.findings) {
      told = told || (std::string(finding.code) == damage.code &&
                      finding.severity == damage.severity && finding.offset == damage.offset);
      all += Describe(finding) + " [" + finding.code + "]\n";
    }
    EXPECT_TRUE(told) << all;
  }
}

// The numbers of the report, the exit status, and what other commands make of it.
TEST(PsltoolCheckClasses, DamageCountsNotesDoNot) {
  const MadeArchives made(0x21);
  TempDir dir;
  const std::string sound = TempDir::ReadFile(made.Hour());
  const Layout places(made.Hour());
  std::string damaged = sound;
  damaged[places.entries.at(kPd).at(0) + 25] = 1;
  std::string noted = sound;
  noted[places.entries.at(kHp).at(0) + 14] = 0x7F;
  dir.Write("20240304array01.psa", damaged);
  dir.Write("20240305array01.psa", noted);
  const auto run = [&](const std::vector<std::string>& arguments) {
    return RunProgram(PSLTOOL_PATH, arguments, {dir.Path(), {}});
  };
  const ProgramResult both = run({"check", "."});
  EXPECT_EQ(both.status, 1);
  EXPECT_NE(both.out.find("2 files, 1 with findings: 1 error, 0 warnings, "), std::string::npos)
      << both.out;
  EXPECT_EQ(run({"check", "--strict", "20240305array01.psa"}).status, 0);
  // Damage is not sealed, and its record is suspect.
  EXPECT_NE(run({"seal", "."}).out.find("20240304array01.psa: FINDING: not sealed: "),
            std::string::npos);
  const ProgramResult saved =
      run({"salvage", "--resync", "20240304array01.psa", "-o", "saved.psa"});
  EXPECT_NE(saved.out.find("left out: no archive holds such a one"), std::string::npos)
      << saved.out;
  EXPECT_EQ(dir.Read("saved.psa").size(), sound.size() - places.length);
  EXPECT_EQ(run({"check", "saved.psa"}).status, 0);
  ASSERT_EQ(run({"salvage", "--keep-suspect", "--force", "20240304array01.psa", "-o", "saved.psa"})
                .status,
            0);
  EXPECT_EQ(dir.Read("saved.psa"), damaged);
}

// ---- what is noticed ----

class PsltoolCheckNotices : public testing::TestWithParam<int> {};

// What `check` said of single changed bytes before it looked at what only archives promise.
bool IsOfOldClass(const Finding& finding) {
  static const std::vector<std::string> kNew = {
      "unused-bytes",  "valid-length", "compact-kind",  "compact-busy",   "compact-idle",
      "count-form",    "mean-of-none", "mean-over-max", "max-of-none",    "extremes",
      "ratio-over",    "ratio-bound",  "interval-odd",  "archive-offset", "archive-length",
      "key-order",     "item-missing", "item-order",    "item-form",      "structure-form",
      "header-unused", "stamp-far"};
  return std::find(kNew.begin(), kNew.end(), finding.code) == kNew.end();
}

// Of so many single bytes of an archive, each changed to another value, findings tell at least a
// third, and with the notes more: docs/psltool/prove.md says how many.
TEST_P(PsltoolCheckNotices, ChangedBytes) {
  const int revision = GetParam();
  const MadeArchives made(revision);
  model::Random random(static_cast<uint64_t>(revision));
  for (const std::string& path : {made.Hour(), made.Day()}) {
    const Checked sound = CheckPath(path);
    EXPECT_EQ(sound.findings.size(), 0U) << Describe(sound.findings.front());
    std::string bytes = TempDir::ReadFile(path);
    ASSERT_GT(bytes.size(), 1000U);
    const int tries = static_cast<int>(300 * Walk());
    int before = 0;
    int found = 0;
    int noted = 0;
    for (int i = 0; i < tries; ++i) {
      const size_t at = random.Below(bytes.size());
      const char was = bytes[at];
      bytes[at] = static_cast<char>(was ^ random.NonZero());
      bool old_class = false;
      bool finding = false;
      const Checked checked = CheckBytes(bytes);
      for (const Finding& each : checked.findings) {
        old_class = old_class || IsOfOldClass(each);
        finding = finding || each.severity != Severity::kNote;
      }
      before += old_class ? 1 : 0;
      found += finding ? 1 : 0;
      noted += checked.findings.empty() ? 0 : 1;
      bytes[at] = was;
    }
    std::printf(
        "0x%02X %s: of %d changed bytes %.1f %% noticed before, %.1f %% are findings, "
        "%.1f %% with notes\n",
        static_cast<unsigned>(revision), path == made.Hour() ? "hour" : "day ", tries,
        100.0 * before / tries, 100.0 * found / tries, 100.0 * noted / tries);
    EXPECT_GT(found, before);
    EXPECT_GT(noted, found);
    EXPECT_GT(100 * noted / tries, 30);
  }
}

INSTANTIATE_TEST_SUITE_P(Families, PsltoolCheckNotices,
                         testing::Values(0x10, 0x11, 0x12, 0x13, 0x18, 0x19, 0x1A, 0x1C, 0x21),
                         RevisionParam<int>);

}  // namespace
