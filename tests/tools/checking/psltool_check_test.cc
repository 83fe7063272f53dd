// `psltool check`: it finds fault with a file exactly when the archiver does, and names the place.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/model/random_logs.h"
#include "tests/model/random_source.h"
#include "tests/model/slow_archiver.h"
#include "tests/support/broken_files.h"
#include "tests/support/record_bytes.h"
#include "tests/support/revision_param.h"
#include "tests/support/sample_records.h"
#include "tests/support/tools/psl_check.h"

namespace {

using model::CaseOptions;
using model::InputFile;
using spell::Bytes;

constexpr uint64_t kSeeds = 10;  // cases of random logs per revision

std::string TextOfBytes(const model::Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

// ---- every revision: random logs and the archives made of them ----

class PsltoolCheckRevision : public testing::TestWithParam<int> {
 protected:
  static std::vector<InputFile> Logs(uint64_t seed, bool faults) {
    CaseOptions options;
    options.faults = faults;
    return model::MakeRandomLogs(seed, static_cast<uint8_t>(GetParam()), options);
  }
};

TEST_P(PsltoolCheckRevision, ValidLogsAndArchivesHaveNoErrors) {
  uint64_t archives = 0;
  for (uint64_t seed = 1; seed <= kSeeds; ++seed) {
    SCOPED_TRACE(seed);
    const std::vector<InputFile> logs = Logs(seed, false);
    for (const InputFile& log : logs) {
      EXPECT_EQ(CheckBytes(TextOfBytes(log.bytes)).Errors(), "") << log.name;
    }
    std::vector<InputFile> hours;
    for (const auto& [name, bytes] : model::RunArchiver(logs, {}).files) {
      EXPECT_EQ(CheckBytes(TextOfBytes(bytes)).Errors(), "") << name;
      hours.push_back({name, bytes});
      ++archives;
    }
    if (hours.empty()) continue;
    for (const auto& [name, bytes] : model::RunArchiver(hours, {}).files) {
      EXPECT_EQ(CheckBytes(TextOfBytes(bytes)).Errors(), "") << name;
    }
  }
  EXPECT_GT(archives, kSeeds / 2);
}

TEST_P(PsltoolCheckRevision, FindsFaultWithWhatTheArchiverRefuses) {
  int refused = 0;
  for (uint64_t seed = 1; seed <= kSeeds; ++seed) {
    for (const InputFile& log : Logs(seed, true)) {
      const std::string bytes = TextOfBytes(log.bytes);
      const Checked checked = CheckBytes(bytes);
      const bool archived = IsArchived(bytes);
      EXPECT_EQ(checked.file.errors == 0, archived)
          << "seed " << seed << ", " << log.name << ": " << checked.Errors();
      refused += archived ? 0 : 1;
    }
  }
  EXPECT_GT(refused, 0);
}

// Bytes changed here and there, mostly small numbers: counts, offsets, lengths, keys.
TEST_P(PsltoolCheckRevision, AgreesWithTheArchiverOnDamagedLogs) {
  constexpr int kChangesPerLog = 12;
  model::Random random(static_cast<uint64_t>(GetParam()));
  int refused = 0;
  int archived_ones = 0;
  for (uint64_t seed = 1; seed <= 4; ++seed) {
    for (const InputFile& log : Logs(seed, false)) {
      for (int i = 0; i < kChangesPerLog; ++i) {
        std::string bytes = TextOfBytes(log.bytes);
        // The file's level decides what kind of run it is for; that is not the question here.
        const size_t header = spell::HeaderSize(static_cast<uint8_t>(GetParam()));
        for (int n = random.Range(1, 3); n > 0; --n) {
          const size_t at = header + random.Below(bytes.size() - header);
          bytes[at] = static_cast<char>(random.Percent(50) ? random.Range(0, 3) : random.Byte());
        }
        if (random.Percent(10)) bytes.resize(header + random.Below(bytes.size() - header));
        const Checked checked = CheckBytes(bytes);
        const bool archived = IsArchived(bytes);
        ASSERT_EQ(checked.file.errors == 0, archived)
            << "seed " << seed << ", " << log.name << ", change " << i << ": " << checked.Errors();
        (archived ? archived_ones : refused) += 1;
      }
    }
  }
  EXPECT_GT(refused, 0);
  EXPECT_GT(archived_ones, 0);
}

// All the fields that frame and place things, each with values at its ends.
TEST_P(PsltoolCheckRevision, AgreesWithTheArchiverOnEveryHeadField) {
  const auto revision = static_cast<uint8_t>(GetParam());
  const Bytes whole = spell::Log({.revision = revision}, {spell::kNewYear + 60}, true);
  const size_t structure = spell::HeaderSize(revision);
  const size_t statistics = structure + spell::GetU32(whole, structure + 8);
  int refused = 0;
  for (const size_t record : {structure, statistics}) {
    for (size_t at = 8; at < spell::HeadSize(revision); at += 2) {
      for (const uint32_t value : {0U, 1U, 2U, 12U, 0x7FFFU, 0xFFFFU}) {
        Bytes bytes = whole;
        spell::SetU16(bytes, record + at, value);
        const Checked checked = CheckBytes(bytes);
        ASSERT_EQ(checked.file.errors == 0, IsArchived(bytes))
            << "record at " << record << ", field " << at << ", value " << value << ": "
            << checked.Errors();
        refused += checked.file.errors == 0 ? 0 : 1;
      }
    }
  }
  EXPECT_GT(refused, 20);
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolCheckRevision, EachRevision(), RevisionParam<int>);

// ---- each way to be broken ----

class PsltoolCheckBroken : public testing::TestWithParam<BrokenFile> {};

TEST_P(PsltoolCheckBroken, NamesClassAndOffset) {
  const BrokenFile& file = GetParam();
  EXPECT_FALSE(IsArchived(file.bytes));
  const Checked checked = CheckBytes(file.bytes);
  // The damage comes first; what follows it can be another finding where the framing is lost.
  EXPECT_EQ(checked.Errors().substr(0, checked.Errors().find('\n')),
            file.code + " at " + std::to_string(file.offset));
  EXPECT_EQ(CheckBytes(file.sound).Errors(), "");
}

INSTANTIATE_TEST_SUITE_P(Details, PsltoolCheckBroken, testing::ValuesIn(BrokenFiles()),
                         [](const auto& each) { return each.param.name; });

struct BrokenHeader {
  const char* name;
  std::string bytes;
  const char* error;
};

class PsltoolCheckHeader : public testing::TestWithParam<BrokenHeader> {};

TEST_P(PsltoolCheckHeader, IsRefused) {
  const Checked checked = CheckBytes(GetParam().bytes);
  EXPECT_EQ(checked.Errors(), std::string(GetParam().error) + "\n");
}

std::string HeaderWith(size_t at, char value) {
  std::string header = spell::HeaderRecord({.revision = 0x1D});
  header[at] = value;
  return header;
}

INSTANTIATE_TEST_SUITE_P(
    Files, PsltoolCheckHeader,
    testing::Values(BrokenHeader{"Empty", "", "file-empty at 0"},
                    BrokenHeader{"ElevenBytes", "HDR\x1D\0\0\0\0\0\0\1", "file-short at 0"},
                    BrokenHeader{"ShorterThanItsHeader",
                                 spell::HeaderRecord({.revision = 0x1D}).substr(0, 255),
                                 "file-short at 0"},
                    BrokenHeader{"NoHeader", HeaderWith(0, 'X'), "header-tag at 0"},
                    BrokenHeader{"RevisionTooLow", HeaderWith(3, '\x0F'), "header-revision at 3"},
                    BrokenHeader{"RevisionTooHigh", HeaderWith(3, '\x22'), "header-revision at 3"},
                    BrokenHeader{"UnknownLevel", HeaderWith(12, 'X'), "header-level at 12"}),
    [](const auto& each) { return std::string(each.param.name); });

// ---- what is odd but taken ----

struct Oddity {
  const char* name;
  std::string bytes;
  std::string warning;
};

std::string Start(const spell::Header& header) {
  return spell::HeaderRecord(header) + spell::Structure(header.revision, {.all_kinds = true});
}

std::vector<Oddity> Oddities() {
  const spell::Header log = {.revision = 0x1D};
  const std::string start = Start(log);
  const auto at = [&](size_t offset) { return " at " + std::to_string(start.size() + offset); };
  const auto record = [](uint32_t time) {
    return spell::Statistics(0x1D, {.time = time, .all_kinds = true});
  };
  const Bytes plain = record(spell::kNewYear);
  std::vector<Oddity> all;

  Bytes disk = plain;
  const size_t entry = spell::GetU32(disk, 88 + 4);
  spell::SetU16(disk, entry + 8, 0x7777);
  all.push_back({"UnknownLogicalDisk", start + disk, "key-unknown" + at(entry + 8)});

  Bytes ports = plain;
  spell::SetU16(ports, 64 + 2, 9);
  all.push_back({"DiskPortCount", start + ports, "count-passed-over" + at(64 + 2)});

  all.push_back({"StampGoesBack", start + record(spell::kNewYear + 60) + plain,
                 "stamp-back" + at(plain.size() + 4)});

  Bytes overlap = plain;
  spell::SetU32(overlap, 24 + 4, spell::GetU32(overlap, 32 + 4));  // Hd on Rd: the keys are equal
  all.push_back({"SectionsShareBytes", start + overlap, "overlap" + at(32 + 4)});

  Bytes unknown_item = plain;
  spell::SetU8(unknown_item, spell::GetU32(plain, 20) + 12, 99);
  all.push_back(
      {"UnknownItem", start + unknown_item, "item-unknown" + at(spell::GetU32(plain, 20) + 12)});

  spell::Header length = log;
  Bytes odd_length = Start(length);
  spell::SetU32(odd_length, 8, 80);
  all.push_back({"HeaderLength", odd_length + plain, "header-length at 8"});

  spell::Header extra = log;
  extra.bitmaps = {{32, 0x00000001}};  // one word behind each Hd entry that means nothing
  Bytes hd = spell::Statistics(0x1D);
  all.push_back({"MaskBitsWithoutAMeaning",
                 spell::HeaderRecord(extra) + spell::Structure(0x1D) + hd, "mask-extra at 32"});

  spell::Header date = log;
  date.month = 14;
  all.push_back({"DateThatIsNone", Start(date) + plain, "header-date at 132"});

  // Up to 0x1A the next record begins behind 80 bytes; here it does, and the length says more.
  Bytes nnc = spell::FixedRecord("NNC", 80);
  spell::SetU32(nnc, 8, 90);
  const spell::Header old = {.revision = 0x19};
  all.push_back({"LongNncOfAnOldRevision",
                 spell::HeaderRecord(old) + nnc + spell::Structure(0x19) + spell::Statistics(0x19),
                 "record-long at 264"});
  return all;
}

class PsltoolCheckOdd : public testing::TestWithParam<Oddity> {};

TEST_P(PsltoolCheckOdd, IsAWarning) {
  const Oddity& odd = GetParam();
  EXPECT_TRUE(IsArchived(odd.bytes));
  const Checked checked = CheckBytes(odd.bytes);
  EXPECT_EQ(checked.Errors(), "");
  std::string warnings;
  for (const Finding& finding : checked.findings) {
    warnings += std::string(finding.code) + " at " + std::to_string(finding.offset);
  }
  EXPECT_EQ(warnings, odd.warning);
}

INSTANTIATE_TEST_SUITE_P(Files, PsltoolCheckOdd, testing::ValuesIn(Oddities()),
                         [](const auto& each) { return std::string(each.param.name); });

TEST(PsltoolCheck, ArchivesWithoutFullMasksAreOdd) {
  const spell::Header archive = {.revision = 0x10, .level = 'H'};
  const Checked checked = CheckBytes(spell::HeaderRecord(archive) + spell::FreeRecord(12));
  EXPECT_EQ(checked.file.errors, 0U);
  EXPECT_EQ(checked.file.warnings, 5U);  // four masks and the free space
}

}  // namespace
