// Summaries: see the header. Of statistics records only the head is read.
#include "tools/reading/file_summary.h"

#include <fmt/format.h>

#include <algorithm>

#include "engine/byteorder.h"
#include "engine/names.h"
#include "engine/pmonfile.h"
#include "tools/reading/array_tables.h"
#include "tools/reading/check_statistics.h"

namespace psltool {

namespace {

constexpr size_t kMostDifferences = 4096;  // kept apart; a hostile file could have any number

void ReadHeader(const PslReader& reader, FileSummary& summary) {
  const std::span<const uint8_t> header = reader.record();
  summary.header = reader.header();
  summary.header_stamp = Load32(header.data() + kAtTime);
  if (!LayoutOf(summary.header.revision).row.keeps_header) return;
  summary.header_date = fmt::format("{:04}-{:02}-{:02}", 1900 + header[kAtYear],
                                    header[kAtMonth] + 1, header[kAtDay]);
}

class Gatherer {
 public:
  Gatherer(PslReader& reader, Zone zone, FileSummary& summary)
      : reader_(reader), summary_(summary), periods_(reader.path(), zone) {}

  // False: the record at hand is broken or cannot be read.
  bool Take() {
    if (reader_.tag() == "CON") return TakeStructure();
    if (reader_.tag() == "STA") return TakeStatistics();
    return true;
  }

  void Finish() {
    IntervalSummary& interval = summary_.interval;
    for (const auto& [seconds, pairs] : differences_) {
      if (pairs <= interval.usual_pairs) continue;
      interval.usual = seconds;
      interval.usual_pairs = pairs;
    }
  }

 private:
  bool TakeStructure() {
    if (!reader_.Load()) return false;
    summary_.trouble = ErrorOf(reader_, [&](RecordReport& report) {
      return ReadTables(reader_.header(), reader_.record(), report, tables_);
    });
    if (summary_.trouble) return false;
    summary_.choice = tables_.choice;
    const RevisionLayout& layout = LayoutOf(reader_.header().revision);
    for (const ListRow& row : layout.Lists()) {
      const Kind kind = row.kind;
      if (kind == kNoKind || TakesFromStatistics(kind)) continue;
      // A list that the array does not carry has a count, but no resources.
      summary_.counts[kind].Take(static_cast<uint32_t>(tables_.kinds[kind].keys.size()));
    }
    for (size_t kind = kConc; kind < kKinds; ++kind) {
      const int32_t room = tables_.item_room[kind];
      if (room >= 0) summary_.counts[kind].Take(static_cast<uint32_t>(room));
    }
    return true;
  }

  bool TakeStatistics() {
    const size_t head = LayoutOf(reader_.header().revision).row.record_head;
    if (!reader_.Load(head)) return false;
    const std::span<const uint8_t> record = reader_.record();
    if (record.size() < head) {
      return reader_.Broken(
          "statistics-head", reader_.position() + kAtLength, "record length",
          fmt::format("{} bytes are less than the head of {}", record.size(), head));
    }
    const RevisionLayout& layout = LayoutOfStatistics(reader_.header(), record);
    for (const SectionRow& row : layout.Sections()) {
      if (!TakesFromStatistics(row.kind)) continue;
      const SectionPlace place = PlaceOf(record, row);
      summary_.counts[row.kind].Take(place.offset == 0 ? 0 : place.count);
    }
    const uint32_t stamp = Load32(record.data() + kAtTime);
    if (summary_.last) TakeDifference(int64_t{stamp} - *summary_.last);
    summary_.last_period = periods_.Of(reader_.position(), stamp);
    if (periods_.unreadable()) return reader_.Inherit(periods_.trouble());
    if (!summary_.first) summary_.first_period = summary_.last_period;
    if (!summary_.first) summary_.first = stamp;
    summary_.last = stamp;
    return true;
  }

  bool TakesFromStatistics(Kind kind) const {
    return kind == kHpNode ||
           (kind == kHp && TakesHostPortsFromStatistics(reader_.header(), tables_));
  }

  void TakeDifference(int64_t seconds) {
    IntervalSummary& interval = summary_.interval;
    if (interval.pairs++ == 0) interval.shortest = interval.longest = seconds;
    interval.shortest = std::min(interval.shortest, seconds);
    interval.longest = std::max(interval.longest, seconds);
    const auto found = differences_.find(seconds);
    if (found != differences_.end()) {
      ++found->second;
    } else if (differences_.size() < kMostDifferences) {
      differences_.emplace(seconds, 1);
    }
  }

  PslReader& reader_;
  FileSummary& summary_;
  FilePeriods periods_;
  ArrayTables tables_;
  std::map<int64_t, uint64_t> differences_;
};

}  // namespace

void CountRange::Take(uint32_t count) {
  least = seen ? std::min(least, count) : count;
  most = std::max(most, count);
  seen = true;
}

NameParts PartsOfName(const std::string& path, char level) {
  const std::string_view stem = StemInOrder(path);
  const size_t digits = level == 'D' ? kMonthDigits : kDayDigits;
  if (!BeginsWithDigits(stem, digits)) return {};
  return {std::string(stem.substr(digits)), DateOfDigits(stem, digits)};
}

bool Summarize(const std::string& path, Zone zone, Progress& progress, FileSummary& summary) {
  summary = FileSummary();
  summary.path = path;
  PslReader reader(path, PslReader::Reports::kKept);
  const bool opened = reader.Open();
  summary.size = reader.size();
  if (!opened) {
    summary.trouble = reader.trouble();
    return false;
  }
  ReadHeader(reader, summary);
  const NameParts name = PartsOfName(path, summary.header.level);
  summary.array = name.array;
  summary.name_date = name.date;
  Gatherer gatherer(reader, zone, summary);
  while (reader.NextHeader()) {
    progress.Show(path, reader.position(), reader.size());
    if (!gatherer.Take()) break;
    ++summary.records[std::string(reader.tag())];
  }
  if (reader.failed()) summary.trouble = reader.trouble();
  gatherer.Finish();
  return true;
}

}  // namespace psltool
