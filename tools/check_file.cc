// Whole files: see the header.
#include "tools/check_file.h"

#include <fmt/format.h>

#include <chrono>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/check_statistics.h"
#include "tools/kind_names.h"
#include "tools/time_text.h"

namespace {

constexpr size_t kEndOfDate = 3;

void CheckMasks(const PslReader& reader, RecordReport& report) {
  const PslHeader& header = reader.header();
  const RevisionLayout& layout = LayoutOf(header.revision);
  for (size_t i = 0; i < layout.bitmap_count; ++i) {
    const BitmapRow& row = layout.bitmaps[i];
    if (row.kind == kReservedItems) continue;
    const uint32_t mask = header.masks[row.kind];
    const std::string field = fmt::format("item mask of {}", NameOf(row.kind).word);
    if (header.level != 'L' && mask != row.full) {
      report.Warn("mask-archive", row.at, field,
                  fmt::format("{:08X}, but archives have {:08X}", mask, row.full));
    } else if ((mask & ~row.full) != 0) {
      report.Warn("mask-extra", row.at, field,
                  fmt::format("{:08X} has bits without a meaning: {:08X}", mask, mask & ~row.full));
    }
  }
}

void CheckDate(const PslReader& reader, RecordReport& report) {
  const std::span<const uint8_t> date = reader.record().subspan(kAtYear, kEndOfDate);
  const std::chrono::year_month_day day{std::chrono::year(1900 + date[0]),
                                        std::chrono::month(date[1] + 1U),
                                        std::chrono::day(date[2])};
  if (day.ok()) return;
  report.Warn("header-date", kAtYear, "date",
              fmt::format("year {}, month {} (from 0), day {} are no date", 1900 + date[0], date[1],
                          date[2]));
}

// Stamps of structure and statistics records; the archiver takes them in any order, but cuts hours
// and days by them.
class StampOrder {
 public:
  void Look(const PslReader& reader, const FindingSink& sink) {
    if (reader.tag() != "STA" && reader.tag() != "CON") return;
    const uint32_t stamp = Load32(reader.record().data() + kAtTime);
    if (any_ && stamp < last_) {
      RecordReport report(sink, reader.number(), reader.position(), reader.tag());
      report.Warn("stamp-back", kAtTime, "time stamp",
                  fmt::format("{} UTC is {} s before the record in front of it",
                              TimeText(stamp, Zone::kUtc), last_ - stamp));
    }
    any_ = true;
    last_ = stamp;
  }

 private:
  bool any_ = false;
  uint32_t last_ = 0;
};

bool EndsWith(const std::string& text, std::string_view end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// An empty archive is the archiver's own mark.
Finding Explained(Finding trouble, const std::string& path) {
  if (std::string_view(trouble.code) == "file-empty" && EndsWith(path, ".psa")) {
    trouble.text =
        "the archive is empty: its day was tried, met a broken record and is not tried "
        "again";
  }
  return trouble;
}

}  // namespace

void CheckFileHeader(const PslReader& reader, const FindingSink& sink) {
  const PslHeader& header = reader.header();
  const RevisionLayout& layout = LayoutOf(header.revision);
  RecordReport report(sink, 0, 0, "HDR");
  if (reader.length() != layout.row.file_header) {
    report.Warn("header-length", kAtLength, "record length",
                fmt::format("{} bytes, but file headers of revision 0x{:02X} have {}",
                            reader.length(), header.revision, layout.row.file_header));
  }
  if (header.level != 'L' && header.level != 'H' && header.level != 'D') {
    report.Error("header-level", kAtLevel, "archive level",
                 fmt::format("\"{}\" is none of L, H and D", TagText({&header.level, 1})));
  }
  CheckMasks(reader, report);
  if (layout.row.keeps_header) CheckDate(reader, report);
}

void RecordChecker::CheckSmall(const PslReader& reader, RecordReport& report) const {
  if (reader.tag() == "FRE") {
    if (header_->level == 'L') return;
    report.Warn("free-record", kAtTag, "tag", "archives have no free space");
    return;
  }
  const uint32_t fixed = MeaningfulSize(reader.tag(), reader.length());
  if (reader.length() == fixed || LayoutOf(header_->revision).row.skips_tails) return;
  report.Warn("record-long", kAtLength, "record length",
              fmt::format("{} bytes, but the next record is taken to begin after {}",
                          reader.length(), fixed));
}

Verdict RecordChecker::Judge(const PslReader& reader, const FindingSink& sink, UnknownDisks unknown,
                             Taken& taken) const {
  bool refused = false;
  const FindingSink watching = [&](const Finding& finding) {
    refused = refused || (unknown == UnknownDisks::kRefused &&
                          std::string_view(finding.code) == "key-unknown");
    sink(finding);
  };
  RecordReport report(watching, reader.number(), reader.position(), reader.tag());
  bool sound = true;
  if (reader.tag() == "CON") {
    sound = ReadTables(*header_, reader.record(), report, taken.tables);
  } else if (reader.tag() == "STA") {
    if (lost_structure_) return Verdict::kUnchecked;
    sound = CheckStatistics(*header_, reader.record(), report, tables_, taken.found);
  } else {
    CheckSmall(reader, report);
  }
  return sound && !refused ? Verdict::kSound : Verdict::kBroken;
}

Verdict RecordChecker::Judge(const PslReader& reader, const FindingSink& sink,
                             UnknownDisks unknown) const {
  Taken taken;
  return Judge(reader, sink, unknown, taken);
}

Verdict RecordChecker::Check(const PslReader& reader, const FindingSink& sink,
                             UnknownDisks unknown) {
  Taken taken;
  const Verdict verdict = Judge(reader, sink, unknown, taken);
  if (reader.tag() == "CON") {
    lost_structure_ = verdict != Verdict::kSound;
    tables_ = lost_structure_ ? ArrayTables() : std::move(taken.tables);
  } else if (reader.tag() == "STA" && verdict == Verdict::kSound && header_->level != 'D') {
    // Day archives leave out structure records that change nothing in their lists; the sets that
    // statistics records name can change there without one.
    for (size_t kind = 0; kind < kSectionKinds; ++kind) {
      KeyTable& found = taken.found[kind];
      if (found.from_statistics) tables_.kinds[kind] = std::move(found);
    }
  }
  return verdict;
}

CheckedFile CheckFile(const std::string& path, const FindingSink& sink, Progress& progress) {
  CheckedFile file;
  file.path = path;
  const FindingSink counting = [&](const Finding& finding) {
    file.errors += finding.severity == Severity::kError ? 1 : 0;
    file.warnings += finding.severity == Severity::kWarning ? 1 : 0;
    file.unreadable = file.unreadable || finding.severity == Severity::kUnreadable;
    sink(finding);
  };
  PslReader reader(path, PslReader::Reports::kKept);
  const bool opened = reader.Open();
  file.size = reader.size();
  if (!opened) {
    counting(Explained(reader.trouble(), path));
    return file;
  }
  file.revision = reader.header().revision;
  file.level = reader.header().level;
  CheckFileHeader(reader, counting);
  RecordChecker checker(reader.header());
  StampOrder stamps;
  while (reader.Next()) {
    ++file.records;
    progress.Show(path, reader.position(), reader.size());
    stamps.Look(reader, counting);
    checker.Check(reader, counting);
  }
  if (reader.failed()) counting(reader.trouble());
  return file;
}
