// `psltool explain` inside this process: resources and optional items of every kind, of random
// archives of every revision and level, are explained as they are stored.
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
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
#include "tools/audit/explain_value.h"
#include "tools/audit/record_fields.h"
#include "tools/reading/array_tables.h"
#include "tools/reading/entry_fields.h"
#include "tools/reading/kind_names.h"

using namespace psltool;

namespace {

using model::Random;

constexpr const char* kRandomZone = "America/Los_Angeles";

struct RandomPlace {
  Kind kind;
  std::string key;
  uint32_t stamp;
};

std::vector<RandomPlace> RandomPlacesOf(const std::string& path) {
  std::vector<RandomPlace> places;
  ForEachPart(path, [&](const PslReader& reader, const RecordPart& part) {
    const uint32_t stamp = Load32(reader.record().data() + kAtTime);
    const auto bytes = reader.record().subspan(part.at, part.size);
    if (part.type == RecordPart::Type::kElement) {
      places.push_back({part.kind, ElementKey(ItemRowOf(part.kind), bytes), stamp});
    } else if (part.type == RecordPart::Type::kEntry && part.kind != kCheseg) {
      const KeyBytes& key = kForms[part.form].key;
      places.push_back(
          {part.kind, KeyText(key, key.count, EntryKey(key, key.count, bytes)), stamp});
    }
  });
  return places;
}

const Value* ValueOf(const ExplainedInterval& interval, const std::string& name) {
  for (size_t i = 0; i < interval.columns.size(); ++i) {
    if (interval.columns[i].name == name) return &interval.values[i];
  }
  return nullptr;
}

double NumberOf(const Value* value) {
  if (value == nullptr) return 0;
  if (const auto* number = std::get_if<uint64_t>(value)) return static_cast<double>(*number);
  const auto* real = std::get_if<double>(value);
  return real == nullptr ? 0 : *real;
}

// What is told of an optional item's element follows from the items listed, and from nothing else:
// items that do not hold the element were left out, though their time counts.
void ExpectSumsOfTheList(const Explanation& explanation) {
  uint32_t time = 0;
  for (const ExplainedInterval& interval : explanation.intervals) time += interval.length;
  for (const ExplainedField& field : explanation.fields) {
    const std::string& name = field.column.name;
    double sum = 0;
    double largest = 0;
    for (const ExplainedInterval& interval : explanation.intervals) {
      const double number = NumberOf(ValueOf(interval, name));
      sum += number;
      largest = std::max(largest, interval.named ? number : 0);
    }
    if (name == "interval_ms") {
      EXPECT_EQ(NumberOf(&field.expected), time);
    } else if (name == "value") {
      EXPECT_EQ(field.sum, sum);
      EXPECT_EQ(field.weight, static_cast<double>(explanation.intervals.size()));
    } else if (name == "g1_ops") {
      EXPECT_EQ(field.sum, sum);
    } else if (name == "g1_max") {
      EXPECT_EQ(NumberOf(&field.expected), largest);
    } else if (name == "status") {
      ASSERT_FALSE(explanation.intervals.empty());
      EXPECT_EQ(field.expected, *ValueOf(explanation.intervals.back(), name));
      EXPECT_EQ(field.held_by, explanation.intervals.size() - 1);
    }
  }
}

class PsltoolExplainRandom : public testing::TestWithParam<int> {};

TEST_P(PsltoolExplainRandom, StoredNumbersAreExplained) {
  const model::ScopedZone zone(kRandomZone);
  const auto revision = static_cast<uint8_t>(GetParam());
  Random random(revision + 900U);
  int explained = 0;
  int elements = 0;
  std::set<Kind> kinds;
  for (uint64_t seed = 70; seed < 73; ++seed) {
    SCOPED_TRACE(seed);
    const ArchivedLogs logs(seed, revision, {}, kRandomZone);
    const auto hours = logs.Archive(logs.logs(), "hour");
    if (hours.empty()) continue;
    std::vector<ArchivedFile> archives = {hours.front()};
    for (const ArchivedFile& day : logs.Archive(PathsOf(hours), "day")) archives.push_back(day);
    for (const ArchivedFile& archive : archives) {
      const ArchiveInputs files = {.archive = archive.path, .inputs = archive.inputs};
      if (!RunAudit({files, AuditRun::kManual}).findings.empty()) continue;
      const std::vector<RandomPlace> places = RandomPlacesOf(archive.path);
      std::vector<RandomPlace> elements_there;
      std::copy_if(places.begin(), places.end(), std::back_inserter(elements_there),
                   [](const RandomPlace& place) { return place.kind >= kSectionKinds; });
      for (int i = 0; i < 40 && !places.empty(); ++i) {
        const std::vector<RandomPlace>& from =
            i >= 25 && !elements_there.empty() ? elements_there : places;
        const RandomPlace& place = from[random.Below(from.size())];
        ExplainRequest request;
        static_cast<ArchiveInputs&>(request) = files;
        request.kind = place.kind;
        request.key = place.key;
        request.at = {place.stamp, place.stamp};
        Explanation explanation;
        Progress progress(false);
        const ExplainEnd end = Explain(request, explanation, progress);
        // Stamps can go back: then the record explained may be an earlier one without the element.
        if (explanation.period.stamp != place.stamp || end != ExplainEnd::kDone) continue;
        EXPECT_EQ(explanation.differences, 0U) << place.kind << " " << place.key;
        for (const ExplainedField& field : explanation.fields) {
          if (field.held_by) {
            EXPECT_LT(*field.held_by, explanation.intervals.size());
          }
        }
        if (place.kind >= kSectionKinds) {
          EXPECT_TRUE(explanation.of_items);
          ExpectSumsOfTheList(explanation);
          ++elements;
        }
        ++explained;
        kinds.insert(place.kind);
      }
    }
  }
  EXPECT_GT(explained, 40);
  if (HasKind(revision, kLdCp)) {
    EXPECT_GT(elements, 5);
  }
  EXPECT_GT(kinds.size(), 3U);
}

INSTANTIATE_TEST_SUITE_P(EveryRevision, PsltoolExplainRandom, EachRevision(), RevisionParam<int>);

}  // namespace
