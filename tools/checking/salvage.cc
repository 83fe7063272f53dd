// Salvage: see the header. A record is sound when the archiver would take it, judged against the
// structure record in force among the records that are kept.
#include "tools/checking/salvage.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/checking/borrowed_structure.h"
#include "tools/checking/check_file.h"
#include "tools/checking/resync.h"
#include "tools/output/record_file.h"
#include "tools/output/report.h"

namespace psltool {

namespace {

constexpr size_t kCopyPiece = 1 << 20;

class Salvager {
 public:
  Salvager(const SalvageRequest& request, const BorrowedStructure& borrowed, Progress& progress,
           PslReader& reader, SalvageReport& report)
      : request_(request),
        borrowed_(borrowed),
        progress_(progress),
        reader_(reader),
        report_(report),
        checker_(reader.header()),
        search_(reader, progress),
        file_(request.good) {}

  SalvageEnd Run() {
    if (!file_.Create() || !CopyHeader()) return SalvageEnd::kStopped;
    while (TakeNext()) {
    }
    if (failed_) return SalvageEnd::kStopped;
    if (report_.kept.empty()) {
      if (!report_.trouble) report_.trouble = NoRecords();
      return SalvageEnd::kNothing;
    }
    report_.trouble.reset();
    return file_.Finish() ? SalvageEnd::kWritten : SalvageEnd::kStopped;
  }

 private:
  static Finding NoRecords() {
    Finding finding;
    finding.code = "no-records";
    finding.text = "no record behind the file header";
    return finding;
  }

  bool CopyHeader() {
    std::vector<uint8_t> header(reader_.record().begin(), reader_.record().end());
    if (reader_.length() != header.size()) {
      Store32(header.data() + kAtLength, static_cast<uint32_t>(header.size()));
      report_.mended.push_back(fmt::format("record length of the file header: {} instead of {}",
                                           header.size(), reader_.length()));
    }
    report_.kept_bytes = header.size();
    return file_.Write(header.data(), header.size());
  }

  // Deals with what stands next. False: nothing more to do.
  bool TakeNext() {
    const uint64_t at = reader_.next();
    progress_.Show(request_.broken, at, reader_.size());
    if (!reader_.NextHeader()) {
      if (!reader_.failed()) return false;
      if (Unreadable()) return false;
      return Drop(at, reader_.trouble());
    }
    if (!reader_.Load()) return !Unreadable();
    std::optional<Finding> error;
    bool accepted = Accepts(error);
    if (!accepted && reader_.tag() == "STA" && Borrow()) {
      error.reset();
      accepted = Accepts(error);
    }
    if (!accepted) return Drop(at, *error);
    const bool shifted = !CanEndAt(reader_, reader_.next());
    if (reader_.failed()) return !Unreadable();
    if (!shifted && !implausible_) return Keep();
    report_.suspect.push_back({reader_.number(), TagText(reader_.tag()), at, reader_.next(),
                               shifted ? "no record follows it" : "no archive holds such a one"});
    if (request_.keep_suspect) return Keep();
    // What it says of the array is not in force either.
    if (reader_.tag() == "CON") checker_.LoseStructure();
    return Drop(at, shifted ? Suspected() : *error);
  }

  Finding Suspected() const {
    return {Severity::kError,
            "suspect",
            reader_.number(),
            TagText(reader_.tag()),
            reader_.position(),
            "",
            "the bytes behind it are no record, so its own content may be shifted; --keep-suspect "
            "keeps it"};
  }

  // Puts the structure record of the other day in force where there is none. False: there is one,
  // or nothing to put.
  bool Borrow() {
    if (borrowed_.record.empty() || checker_.has_structure()) return false;
    checker_.TakeStructure(borrowed_.record);
    borrow_due_ = true;
    after_gap_ = true;  // disks that it does not know speak against a record
    return true;
  }

  // The structure record that was put in force, in front of the first statistics that need it: with
  // their time stamp, since days are cut by stamps.
  bool WriteBorrowed() {
    borrow_due_ = false;
    std::vector<uint8_t> record = borrowed_.record;
    Store32(record.data() + kAtTime, Load32(reader_.record().data() + kAtTime));
    ++report_.structures_taken;
    report_.structure = borrowed_.place;
    return file_.Write(record.data(), record.size());
  }

  bool Unreadable() {
    if (reader_.trouble().severity != Severity::kUnreadable) return false;
    report_.trouble = reader_.trouble();
    failed_ = true;
    return true;
  }

  // Judges the record at hand; where bytes are lost, a structure record may be among them, so that
  // disks that it does not know speak against a record, too.
  bool Accepts(std::optional<Finding>& error) {
    const FindingSink sink = [&](const Finding& finding) {
      const bool counts = finding.severity == Severity::kError ||
                          (after_gap_ && std::string_view(finding.code) == "key-unknown");
      if (counts && !error) error = finding;
    };
    const Verdict verdict =
        checker_.Check(reader_, sink, after_gap_ ? UnknownDisks::kRefused : UnknownDisks::kTaken);
    if (verdict == Verdict::kUnchecked) error = Unchecked();
    implausible_ = verdict == Verdict::kSuspect;
    if (verdict != Verdict::kSound && !implausible_) return false;
    if (implausible_ && after_gap_) return false;
    if (reader_.tag() == "CON") after_gap_ = false;
    return true;
  }

  Finding Unchecked() const {
    return {Severity::kError,
            "no-structure",
            reader_.number(),
            "STA",
            reader_.position(),
            "",
            "the structure record that it belongs to is broken"};
  }

  bool Keep() {
    const uint64_t size = reader_.next() - reader_.position();
    if (reader_.tag() == "CON") borrow_due_ = false;
    if ((borrow_due_ && reader_.tag() == "STA" && !WriteBorrowed()) || !CopyRecord(size)) {
      failed_ = true;
      return false;
    }
    ++report_.kept[std::string(reader_.tag())];
    report_.kept_bytes += size;
    if (reader_.tag() == "STA" || reader_.tag() == "CON") {
      last_stamp_ = Load32(reader_.record().data() + kAtTime);
    }
    return true;
  }

  bool CopyRecord(uint64_t size) {
    // What is loaded is all of it, or the part in front of bytes without a meaning.
    std::vector<uint8_t> piece(reader_.record().begin(), reader_.record().end());
    if (size != reader_.length()) {
      Store32(piece.data() + kAtLength, static_cast<uint32_t>(size));
      report_.mended.push_back(fmt::format("record length of record {} ({}): {} instead of {}",
                                           reader_.number(), TagText(reader_.tag()), size,
                                           reader_.length()));
    }
    if (!file_.Write(piece.data(), piece.size())) return false;
    for (uint64_t done = piece.size(); done < size; done += piece.size()) {
      piece.resize(static_cast<size_t>(std::min<uint64_t>(kCopyPiece, size - done)));
      if (!reader_.ReadAt(reader_.position() + done, piece.data(), piece.size())) {
        report_.trouble = reader_.trouble();
        return false;
      }
      if (!file_.Write(piece.data(), piece.size())) return false;
    }
    return true;
  }

  // The bytes from `from` on are not sound. False: nothing behind them is taken.
  bool Drop(uint64_t from, const Finding& why) {
    if (!report_.trouble) report_.trouble = why;
    uint64_t to = reader_.size();
    Borrow();
    if (request_.resync || !borrowed_.record.empty()) {
      // A record whose content is wrong ends where it says, when another one follows there.
      const bool framed = !reader_.failed() && IsRecordStart(reader_, reader_.next());
      if (framed) {
        to = reader_.next();
      } else {
        after_gap_ = true;
        to = search_.Find(checker_, from + 1, last_stamp_);
        if (reader_.failed() && Unreadable()) return false;
      }
    }
    report_.dropped_bytes += to - from;
    if (++report_.dropped_parts <= kMostDropped) {
      report_.dropped.push_back({from, to, Describe(why)});
    }
    reader_.GoTo(to);
    return to != reader_.size();
  }

  const SalvageRequest& request_;
  const BorrowedStructure& borrowed_;
  Progress& progress_;
  PslReader& reader_;
  SalvageReport& report_;
  RecordChecker checker_;
  RecordSearch search_;
  RecordFile file_;
  bool after_gap_ = false;
  bool borrow_due_ = false;   // the borrowed structure record is in force, but not written yet
  bool implausible_ = false;  // the record at hand: no archive holds such a one
  bool failed_ = false;
  uint32_t last_stamp_ = 0;
};

bool MayWrite(const SalvageRequest& request) {
  std::error_code error;
  const std::filesystem::file_type type = std::filesystem::status(request.good, error).type();
  if (type == std::filesystem::file_type::not_found) return true;
  // What cannot be looked at may be a file that would be replaced.
  if (type == std::filesystem::file_type::none) return Fail(request.good, error.message());
  if (std::filesystem::equivalent(request.broken, request.good, error)) {
    return Fail(request.good, "is the damaged file itself");
  }
  if (std::filesystem::equivalent(request.structure, request.good, error)) {
    return Fail(request.good, "is the file that lends its structure record");
  }
  return request.force || Fail(request.good, "exists; --force replaces it");
}

}  // namespace

SalvageEnd Salvage(const SalvageRequest& request, Progress& progress, SalvageReport& report) {
  report = SalvageReport();
  PslReader reader(request.broken, PslReader::Reports::kKept);
  const bool opened = reader.Open();
  report.size = reader.size();
  if (!opened) {
    report.trouble = reader.trouble();
    return reader.trouble().severity == Severity::kUnreadable ? SalvageEnd::kStopped
                                                              : SalvageEnd::kNothing;
  }
  if (!MayWrite(request)) return SalvageEnd::kStopped;
  CheckFileHeader(reader, [&](const Finding& finding) {
    if (finding.severity == Severity::kError) report.trouble = finding;
  });
  if (report.trouble) return SalvageEnd::kNothing;
  BorrowedStructure borrowed;
  if (!request.structure.empty() &&
      !BorrowStructure(request.structure, reader, progress, borrowed)) {
    return SalvageEnd::kStopped;
  }
  return Salvager(request, borrowed, progress, reader, report).Run();
}

}  // namespace psltool
