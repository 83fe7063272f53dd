// A word of an archive that is not what it should be: whatever the revision, level, kind, entry and
// word, the audit names it. Thousands of words are changed, one at a time.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tests/model/random_source.h"
#include "tests/model/time_zone.h"
#include "tests/support/archive_parts.h"
#include "tests/support/revision_param.h"
#include "tests/support/runs/archived_logs.h"
#include "tests/support/tools/audit_run.h"

namespace {

using model::Random;

constexpr int kFlipsPerRevision = 400;
constexpr const char* kFlipZone = "Europe/Berlin";

// An entry of a resource, or an optional item's head or element.
struct FlipPlace {
  uint64_t record;
  uint32_t stamp;
  uint64_t at;  // in the file
  uint64_t size;
  Kind kind;
  RecordPart::Type type;
};

std::vector<FlipPlace> FlipPlacesOf(const std::string& path) {
  std::vector<FlipPlace> places;
  ForEachPart(path, [&](const PslReader& reader, const RecordPart& part) {
    places.push_back({reader.number(), Load32(reader.record().data() + kAtTime),
                      reader.position() + part.at, part.size, part.kind, part.type});
  });
  return places;
}

class FlippedFile {
 public:
  explicit FlippedFile(const std::string& path) : path_(path), bytes_(TempDir::ReadFile(path)) {}

  const std::string& bytes() const { return bytes_; }
  void Flip(uint64_t at, uint32_t bits) {
    char word[4];
    for (int i = 0; i < 4; ++i) {
      word[i] = static_cast<char>(bytes_[at + static_cast<size_t>(i)] ^ (bits >> (24 - 8 * i)));
    }
    Put(at, word);
  }
  void Restore(uint64_t at) { Put(at, bytes_.data() + at); }

 private:
  void Put(uint64_t at, const char* word) {
    std::fstream file(path_, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(at));
    file.write(word, 4);
  }
  std::string path_;
  std::string bytes_;
};

std::string NumberText(const std::string& bytes, uint64_t at, uint64_t width) {
  uint64_t number = 0;
  for (uint64_t i = 0; i < width; ++i) number = number << 8 | static_cast<uint8_t>(bytes[at + i]);
  return std::to_string(number);
}

class PsltoolAuditFlip : public testing::TestWithParam<int> {
 protected:
  // Changes words of one archive. False: one was not named as it should.
  bool FlipWords(const ArchivedFile& archive, Random& random, int flips) {
    std::map<Kind, std::vector<FlipPlace>> by_kind;
    for (const FlipPlace& place : FlipPlacesOf(archive.path)) by_kind[place.kind].push_back(place);
    if (by_kind.empty()) return true;
    const AuditRequest request = {{.archive = archive.path, .inputs = archive.inputs},
                                  AuditRun::kManual};
    if (!RunAudit(request).findings.empty()) return true;  // told by other tests
    FlippedFile file(archive.path);
    for (int i = 0; i < flips; ++i) {
      auto kind = by_kind.begin();
      std::advance(kind, static_cast<int>(random.Below(by_kind.size())));
      const FlipPlace& place = kind->second[random.Below(kind->second.size())];
      const uint64_t at = place.at + 4 * random.Below(place.size / 4);
      const uint32_t bits =
          random.Percent(50) ? 1U << random.Below(32) : random.Word() | 1U << random.Below(32);
      file.Flip(at, bits);
      const Audited audited = RunAudit(request);
      file.Restore(at);
      if (!Names(audited, place, at, bits, file.bytes())) return false;
      ++flips_;
      kinds_.insert(place.kind);
    }
    return true;
  }

  static bool Names(const Audited& audited, const FlipPlace& place, uint64_t at, uint32_t bits,
                    const std::string& bytes) {
    uint32_t named = 0;  // bits of the word
    for (const AuditFinding& each : audited.findings) {
      const bool here = each.offset < at + 4 && at < each.offset + each.width;
      EXPECT_TRUE(here) << audited.Text();
      EXPECT_STREQ(each.code, "field");
      EXPECT_EQ(each.record, place.record);
      EXPECT_EQ(each.stamp, place.stamp);
      EXPECT_FALSE(each.kind.empty());
      EXPECT_NE(each.stored, each.expected);
      if (place.type != RecordPart::Type::kItem) {
        EXPECT_FALSE(each.key.empty());
      }
      if (each.width <= 4 && each.width != 3) {
        EXPECT_EQ(each.expected, NumberText(bytes, each.offset, each.width)) << audited.Text();
      }
      for (uint64_t byte = each.offset; here && byte < each.offset + each.width; ++byte) {
        if (byte >= at && byte < at + 4) named |= 0xFF000000U >> (8 * (byte - at));
      }
    }
    EXPECT_EQ(bits & ~named, 0U) << "at " << at << "\n" << audited.Text();
    return !testing::Test::HasFailure();
  }

  int flips_ = 0;
  std::set<Kind> kinds_;
};

TEST_P(PsltoolAuditFlip, NamesTheWord) {
  const model::ScopedZone zone(kFlipZone);
  const auto revision = static_cast<uint8_t>(GetParam());
  Random random(revision);
  for (uint64_t seed = 40; seed < 46 && flips_ < kFlipsPerRevision; ++seed) {
    SCOPED_TRACE(seed);
    const ArchivedLogs logs(seed, revision, {}, kFlipZone);
    const auto hours = logs.Archive(logs.logs(), "hour");
    if (hours.empty()) continue;
    std::vector<ArchivedFile> archives = {hours.front(), hours.back()};
    for (const ArchivedFile& day : logs.Archive(PathsOf(hours), "day")) archives.push_back(day);
    for (const ArchivedFile& archive : archives) {
      ASSERT_TRUE(FlipWords(archive, random, 40)) << archive.path;
    }
  }
  EXPECT_GE(flips_, kFlipsPerRevision);
  EXPECT_GE(kinds_.size(), 4U);
  RecordProperty("flips", flips_);
  RecordProperty("kinds", static_cast<int>(kinds_.size()));
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolAuditFlip, EachRevision(), RevisionParam<int>);

}  // namespace
