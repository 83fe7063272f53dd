// Audits of one archive: see the header.
#include "tools/audit/audit_archive.h"

#include <fmt/format.h>

#include <algorithm>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/audit/recompute_inputs.h"
#include "tools/audit/record_fields.h"
#include "tools/reading/archive_records.h"
#include "tools/reading/check_statistics.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

constexpr size_t kFarAhead = 1024;    // records that are looked at for a counterpart
constexpr size_t kMostKept = 100000;  // findings held back until it is known which run fits

// A record that the inputs make.
struct DueRecord {
  std::vector<uint8_t> bytes;
  size_t cheseg_key_count = 1;
  std::string tag() const { return {bytes.begin(), bytes.begin() + 3}; }
  uint32_t stamp() const { return Load32(bytes.data() + kAtTime); }
};

uint64_t EntriesOf(const FieldContext& context, std::span<const uint8_t> record) {
  uint64_t count = 0;
  for (const RecordPart& part : PartsOf(context, record)) {
    const bool counts =
        part.type == RecordPart::Type::kEntry || part.type == RecordPart::Type::kElement;
    count += counts ? 1 : 0;
  }
  return count;
}

// What a reader reported of a file.
AuditFinding FindingOf(const std::string& path, const Finding& trouble) {
  AuditFinding finding;
  finding.path = path;
  finding.code = trouble.code;
  finding.tag = trouble.tag;
  finding.offset = trouble.offset;
  finding.field = trouble.field;
  finding.text = trouble.text;
  finding.unreadable = trouble.severity == Severity::kUnreadable;
  return finding;
}

class Auditor : public RunListener {
 public:
  Auditor(const AuditRequest& request, const InputsAtHand& inputs, PslReader& archive,
          const AuditSink& sink, AuditResult& result)
      : request_(request),
        archive_(archive),
        records_(archive),
        choice_(request, inputs, result.level, result.run),
        sink_(sink),
        result_(result),
        context_(FieldContext::OfArchive(archive.header())) {}

  void OutputBegins(const OutputStart& start) override {
    if (!choice_.Begins(start)) return;
    std::vector<uint8_t> stored;
    if (!records_.LoadAs(0, std::min<size_t>(start.header.size(), archive_.size()), stored)) return;
    // The revision is part of the layout: nothing else compares when it differs.
    if (start.input.header().revision != archive_.header().revision) {
      Tell("header-revision", 0, kAtFlag, 1, "format revision",
           std::to_string(archive_.header().revision),
           std::to_string(start.input.header().revision));
      other_revision_ = true;
      return;
    }
    result_.bytes += stored.size();
    CompareRecords(context_, start.header, stored, [&](const FieldDifference& each) {
      Tell("header-field", 0, each.offset, each.width, each.field, each.stored, each.expected);
    });
  }

  void InputJoins(const PslReader& input) override {
    if (choice_.ours()) result_.used.push_back(input.path());
    if (choice_.named() || request_.whole_run) return;
    AuditFinding finding;
    finding.path = input.path();
    finding.code = "input-foreign";
    finding.text = fmt::format("goes into {}, not into this archive", choice_.name());
    Put(finding);
  }

  void RecordDue(std::span<const uint8_t> record, const PeriodSums* sums) override {
    if (!choice_.ours() || other_revision_) return;
    DueRecord due;
    due.bytes.assign(record.begin(), record.end());
    if (sums != nullptr) {
      due.cheseg_key_count = std::max<size_t>(sums->tables().kinds[kCheseg].key_count, 1);
    }
    if (due_) Match(*due_, &due);
    due_ = std::move(due);
  }

  void InputTrouble(const std::string& path, const Finding& trouble) override {
    PutTrouble(path, trouble, trouble.record,
               trouble.severity == Severity::kUnreadable ? "input-unreadable" : trouble.code);
  }

  // Everything that the inputs make has been told.
  void Finish() {
    if (due_) Match(*due_, nullptr);
    due_.reset();
    if (other_revision_) return;
    if (!choice_.found()) {
      AuditFinding finding;
      finding.path = request_.archive;
      finding.code = "inputs-none";
      finding.text = "none of the inputs goes into this archive";
      Put(finding);
      return;
    }
    while (records_.Ahead(0) != nullptr) TellExtra();
    TellBroken();
  }

 private:
  void Put(const AuditFinding& finding) {
    ++result_.findings;
    sink_(finding);
  }

  void Tell(const char* code, uint64_t start, uint64_t at, uint64_t width, std::string field,
            std::string stored, std::string expected) {
    AuditFinding finding;
    finding.path = request_.archive;
    finding.code = code;
    finding.tag = start == 0 ? "HDR" : "";
    finding.offset = start + at;
    finding.width = width;
    finding.field = std::move(field);
    finding.stored = std::move(stored);
    finding.expected = std::move(expected);
    Put(finding);
  }

  AuditFinding RecordFinding(const char* code, uint64_t number, std::string tag, uint32_t stamp,
                             uint64_t offset, std::string text) const {
    AuditFinding finding;
    finding.path = request_.archive;
    finding.code = code;
    finding.record = number;
    finding.tag = std::move(tag);
    finding.stamp = stamp;
    finding.offset = offset;
    finding.text = std::move(text);
    return finding;
  }

  // The next record of the archive is one that no input makes.
  void TellExtra() {
    const ArchiveRecords::Frame& frame = *records_.Ahead(0);
    Put(RecordFinding("record-without-input", frame.number, TagText(frame.tag), frame.stamp,
                      frame.offset,
                      "no input makes this record: an input is missing or incomplete"));
    records_.Pass();
  }

  void TellMissing(const DueRecord& due) {
    Put(RecordFinding("record-missing", records_.number(), TagText(due.tag()), due.stamp(),
                      records_.position(), "the archive lacks this record, which the inputs make"));
  }

  void TellBroken() {
    if (!archive_.failed() || told_broken_) return;
    told_broken_ = true;
    const Finding& trouble = archive_.trouble();
    PutTrouble(request_.archive, trouble, records_.number(), trouble.code);
  }

  void PutTrouble(const std::string& path, const Finding& trouble, uint64_t record,
                  const char* code) {
    AuditFinding finding = FindingOf(path, trouble);
    finding.code = code;
    finding.record = record;
    result_.unreadable = result_.unreadable || finding.unreadable;
    Put(finding);
  }

  static bool Belong(const ArchiveRecords::Frame& frame, const DueRecord& due) {
    return frame.tag == due.tag() && frame.stamp == due.stamp();
  }

  // Finds the archive's counterpart of a record that is due. `next`: the one due behind it.
  void Match(const DueRecord& due, const DueRecord* next) {
    const ArchiveRecords::Frame* frame = records_.Ahead(0);
    if (frame != nullptr && !Belong(*frame, due)) {
      size_t distance = 1;
      const ArchiveRecords::Frame* other = nullptr;
      while (distance < kFarAhead && (other = records_.Ahead(distance)) != nullptr &&
             !Belong(*other, due)) {
        ++distance;
      }
      if (other != nullptr && distance < kFarAhead) {
        for (; distance > 0; --distance) TellExtra();
      } else if (next != nullptr && Belong(*records_.Ahead(0), *next)) {
        TellMissing(due);
        return;
      }
    }
    Compare(due);
  }

  void Compare(const DueRecord& due) {
    const ArchiveRecords::Frame* const frame = records_.Ahead(0);
    const uint64_t start = records_.position();
    const uint64_t number = records_.number();
    const size_t size = due.bytes.size();
    // A damaged length must not hide what it frames: the record is taken as long as it should be
    // when the file goes on behind that.
    const bool framed = frame != nullptr && frame->length == size;
    const bool mended = !framed &&
                        (frame == nullptr || !records_.CanBegin(start + frame->length)) &&
                        records_.CanBegin(start + size);
    std::vector<uint8_t> stored;
    const bool loaded =
        mended ? records_.LoadAs(start, size, stored) : frame != nullptr && records_.Load(stored);
    if (!loaded) {
      TellMissing(due);
      TellBroken();
      return;
    }
    context_.cheseg_key_count = due.cheseg_key_count;
    ++result_.records;
    result_.statistics += due.tag() == "STA" ? 1 : 0;
    result_.bytes += stored.size();
    result_.entries += due.tag() == "STA" ? EntriesOf(context_, due.bytes) : 0;
    CompareRecords(context_, due.bytes, stored, [&](const FieldDifference& each) {
      AuditFinding finding =
          RecordFinding("field", number, TagText(due.tag()), due.stamp(), start + each.offset, "");
      finding.width = each.width;
      finding.kind = each.kind;
      finding.key = each.key;
      finding.field = each.field;
      finding.stored = each.stored;
      finding.expected = each.expected;
      Put(finding);
    });
    if (stored.size() != size) {
      Put(RecordFinding("record-size", number, TagText(due.tag()), due.stamp(), start,
                        fmt::format("{} bytes, expected {}", stored.size(), size)));
    }
    if (mended) {
      told_broken_ = false;
      records_.PassBytes(size);
    } else {
      records_.Pass();
    }
  }

  const AuditRequest& request_;
  PslReader& archive_;
  ArchiveRecords records_;
  OutputChoice choice_;
  const AuditSink& sink_;
  AuditResult& result_;
  FieldContext context_;
  std::optional<DueRecord> due_;
  bool other_revision_ = false;  // than that of the inputs
  bool told_broken_ = false;
};

AuditResult AuditOnce(const AuditRequest& request, const InputsAtHand& inputs, RunKind run,
                      const AuditSink& sink, Progress& progress) {
  AuditResult result;
  result.run = run;
  PslReader archive(request.archive, PslReader::Reports::kKept);
  const auto refuse = [&](const Finding& trouble) {
    const AuditFinding finding = FindingOf(request.archive, trouble);
    result.unreadable = finding.unreadable;
    ++result.findings;
    sink(finding);
    return result;
  };
  if (!archive.Open()) {
    Finding trouble = archive.trouble();
    if (std::string_view(trouble.code) == "file-empty") {
      trouble.text =
          "the archive is empty: its day was tried, met a broken record and is not tried again";
    }
    return refuse(trouble);
  }
  result.revision = archive.header().revision;
  result.level = archive.header().level;
  if (result.level != 'H' && result.level != 'D') {
    return refuse({Severity::kError, "header-level", 0, "HDR", kAtLevel, "archive level",
                   fmt::format("\"{}\" is no archive's", TagText({&result.level, 1}))});
  }
  Auditor auditor(request, inputs, archive, sink, result);
  const RunRules rules = {result.level, run, request.no_period};
  Recompute(request.inputs, rules, auditor, false, progress);
  auditor.Finish();
  return result;
}

}  // namespace

AuditResult AuditArchive(const AuditRequest& request, const AuditSink& sink, Progress& progress) {
  const InputsAtHand inputs = LookAtInputs(request);
  const RunKind wanted =
      request.run == AuditRun::kAutomatic ? RunKind::kAutomatic : RunKind::kManual;
  if (request.run != AuditRun::kEither || !inputs.dates_in_headers) {
    return AuditOnce(request, inputs, wanted, sink, progress);
  }
  // Nothing in an archive tells what kind of run made it.
  std::vector<AuditFinding> kept;
  const auto keep = [&](const AuditFinding& finding) {
    if (kept.size() < kMostKept) kept.push_back(finding);
  };
  AuditResult result = AuditOnce(request, inputs, RunKind::kManual, keep, progress);
  if (result.findings != 0 && result.level == 'D') {
    std::vector<AuditFinding> manual;
    manual.swap(kept);
    const AuditResult other = AuditOnce(request, inputs, RunKind::kAutomatic, keep, progress);
    if (other.findings < result.findings) {
      result = other;
    } else {
      kept.swap(manual);
    }
  }
  for (const AuditFinding& finding : kept) sink(finding);
  return result;
}

}  // namespace psltool
