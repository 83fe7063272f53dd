// Whole files: see the header.
#include "tools/checking/check_file.h"

#include <fmt/format.h>

#include <chrono>

#include "engine/byteorder.h"
#include "engine/names.h"
#include "engine/pmonfile.h"
#include "tools/checking/check_archive.h"
#include "tools/reading/check_statistics.h"
#include "tools/reading/kind_names.h"
#include "tools/reading/time_text.h"

namespace psltool {

namespace {

constexpr size_t kEndOfDate = 3;

void CheckMasks(const PslReader& reader, RecordReport& report) {
  const PslHeader& header = reader.header();
  const RevisionLayout& layout = LayoutOf(header.revision);
  for (const BitmapRow& row : layout.Bitmaps()) {
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
  // `header`: the stamp of the file header.
  StampOrder(char level, uint32_t header) : level_(level), header_(header) {}

  void Look(const PslReader& reader, const FindingSink& sink) {
    LookFar(reader, sink);
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
  // An archive is of one day or month.
  void LookFar(const PslReader& reader, const FindingSink& sink) const {
    if (level_ != 'H' && level_ != 'D') return;
    const int64_t most = (level_ == 'H' ? 2 : 40) * kDay;
    const uint32_t stamp = Load32(reader.record().data() + kAtTime);
    const int64_t distance = int64_t{stamp} - int64_t{header_};
    if (distance >= -most && distance <= most) return;
    RecordReport report(sink, reader.number(), reader.position(), reader.tag());
    report.Note("stamp-far", kAtTime, "time stamp",
                fmt::format("{} UTC is {} days away from that of the file header",
                            TimeText(stamp, Zone::kUtc), distance / kDay));
  }

  static constexpr int64_t kDay = 86400;
  char level_;
  uint32_t header_;
  bool any_ = false;
  uint32_t last_ = 0;
};

// An empty archive is the archiver's own mark.
Finding Explained(Finding trouble, const std::string& path) {
  if (std::string_view(trouble.code) == "file-empty" && IsArchiveName(path)) {
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
  if (header.level == 'H' || header.level == 'D') {
    CheckArchivedHeader(header, reader.record(), report);
  }
  if (layout.row.keeps_header) CheckDate(reader, report);
}

void RecordChecker::CheckSmall(const PslReader& reader, RecordReport& report) const {
  if (reader.tag() == "FRE") {
    if (header_->level == 'L') return;
    report.Warn("free-record", kAtTag, "tag", "archives have no free space");
    return;
  }
  const uint32_t fixed = MeaningfulSize(TagOf(reader.tag()), reader.length());
  if (reader.length() == fixed || LayoutOf(header_->revision).row.skips_tails) return;
  report.Warn("record-long", kAtLength, "record length",
              fmt::format("{} bytes, but the next record is taken to begin after {}",
                          reader.length(), fixed));
}

// Whether a sound record of an archive is one that the archiver writes.
bool RecordChecker::IsAsArchived(const PslReader& reader, RecordReport& report) const {
  if (reader.tag() == "CON") return CheckArchivedStructure(*header_, reader.record(), report);
  if (reader.tag() == "STA") {
    return CheckArchivedStatistics(*header_, reader.record(), report, tables_);
  }
  const uint32_t fixed = MeaningfulSize(TagOf(reader.tag()), reader.length());
  if (reader.tag() == "FRE" || reader.length() == fixed) return true;
  return report.Error("archive-length", kAtLength, "record length",
                      fmt::format("{} bytes, but archives hold {}", reader.length(), fixed));
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
  if (!sound || refused) return Verdict::kBroken;
  const bool archive = header_->level == 'H' || header_->level == 'D';
  return !archive || IsAsArchived(reader, report) ? Verdict::kSound : Verdict::kSuspect;
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
  const bool taken_over = verdict == Verdict::kSound || verdict == Verdict::kSuspect;
  if (reader.tag() == "CON") {
    lost_structure_ = !taken_over;
    tables_ = lost_structure_ ? ArrayTables() : std::move(taken.tables);
  } else if (reader.tag() == "STA" && taken_over && header_->level != 'D') {
    // Day archives leave out structure records that change nothing in their lists; the sets that
    // statistics records name can change there without one.
    for (size_t kind = 0; kind < kSectionKinds; ++kind) {
      KeyTable& found = taken.found[kind];
      if (found.from_statistics) tables_.kinds[kind] = std::move(found);
    }
  }
  return verdict;
}

void RecordChecker::LoseStructure() {
  lost_structure_ = true;
  tables_ = ArrayTables();
}

void RecordChecker::TakeStructure(std::span<const uint8_t> record) {
  const FindingSink nobody = [](const Finding&) {};
  RecordReport report(nobody, 0, 0, "CON");
  ArrayTables tables;
  lost_structure_ = !ReadTables(*header_, record, report, tables);
  tables_ = lost_structure_ ? ArrayTables() : std::move(tables);
}

CheckedFile CheckFile(const std::string& path, const FindingSink& sink, Progress& progress) {
  CheckedFile file;
  file.path = path;
  const FindingSink counting = [&](const Finding& finding) {
    file.errors += finding.severity == Severity::kError ? 1 : 0;
    file.warnings += finding.severity == Severity::kWarning ? 1 : 0;
    file.notes += finding.severity == Severity::kNote ? 1 : 0;
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
  StampOrder stamps(file.level, Load32(reader.record().data() + kAtTime));
  while (reader.Next()) {
    ++file.records;
    progress.Show(path, reader.position(), reader.size());
    stamps.Look(reader, counting);
    checker.Check(reader, counting);
  }
  if (reader.failed()) counting(reader.trouble());
  return file;
}

}  // namespace psltool
