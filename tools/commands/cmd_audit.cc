// Command line and report of `psltool audit`.
#include "tools/commands/commands.h"

#include <algorithm>
#include <map>
#include <string>

#include "tools/audit/archive_inputs.h"
#include "tools/audit/audit_archive.h"
#include "tools/audit/audit_directory.h"
#include "tools/commands/archive_options.h"
#include "tools/output/json.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"
#include "tools/reading/labels.h"
#include "tools/reading/time_text.h"

namespace psltool {

namespace {

constexpr uint64_t kListedOfArchive = 10;  // of each class of findings and archive

struct AuditOptions {
  ArchiveInputs made;
  std::string directory;
  std::string logs_directory;
  std::string run = "either";
  bool strict = false;
  bool full = false;
  AnswerOptions answer;
};

struct AuditTotals {
  uint64_t archives = 0;
  uint64_t agree = 0;
  uint64_t with_findings = 0;
  uint64_t no_inputs = 0;
  uint64_t records = 0;
  uint64_t entries = 0;
  uint64_t bytes = 0;
  uint64_t findings = 0;
  bool unreadable = false;
};

AuditRun RunOf(const std::string& word) {
  if (word == "manual") return AuditRun::kManual;
  return word == "automatic" ? AuditRun::kAutomatic : AuditRun::kEither;
}

class Report {
 public:
  Report(const AuditOptions& options, const Labels& labels, TextOut& out, Progress& progress)
      : options_(options),
        labels_(labels),
        zone_(options.answer.utc ? Zone::kUtc : Zone::kLocal),
        out_(out),
        progress_(progress) {}

  void Take(const AuditFinding& finding) {
    const uint64_t number = ++seen_[finding.code];
    if (!options_.full && number > kListedOfArchive) return;
    if (options_.answer.json) {
      findings_.Append(JsonOf(finding));
      return;
    }
    progress_.Clear();
    if (finding.unreadable) {
      Fail(finding.path, finding.text);
      return;
    }
    out_.Print("{}\n", TextOf(finding));
  }

  void Finish(const AuditedFile& file) {
    const AuditResult& result = file.result;
    ++totals_.archives;
    totals_.records += result.records;
    totals_.entries += result.entries;
    totals_.bytes += result.bytes;
    totals_.findings += result.findings;
    totals_.unreadable = totals_.unreadable || result.unreadable;
    (file.no_inputs         ? totals_.no_inputs
     : result.findings == 0 ? totals_.agree
                            : totals_.with_findings) += 1;
    Json more = Json::Array();
    uint64_t beyond = result.findings;  // what not even the audit kept
    for (const auto& [code, count] : seen_) {
      beyond -= std::min(beyond, count);
      if (options_.full || count <= kListedOfArchive) continue;
      more.Append({{"class", code}, {"count", count - kListedOfArchive}});
      if (!options_.answer.json) {
        out_.Print("{}: {} of class {}\n", file.path,
                   Counted(count - kListedOfArchive, "more finding"), code);
      }
    }
    if (beyond != 0) {
      more.Append({{"class", nullptr}, {"count", beyond}});
      if (!options_.answer.json) out_.Print("{}: {}\n", file.path, Counted(beyond, "more finding"));
    }
    if (options_.answer.json) {
      files_.Append(JsonOf(file, std::move(more)));
    } else if (file.no_inputs) {
      out_.Print("{}: no inputs left\n", file.path);
    } else {
      out_.Print("{}: {}: {} records with {} entries, {} bytes, against {}\n", file.path,
                 result.findings == 0 ? "agrees" : Counted(result.findings, "finding"),
                 result.records, result.entries, result.bytes,
                 Counted(result.used.size(), "input"));
    }
    seen_.clear();
    findings_ = Json::Array();
  }

  int Close() {
    if (options_.answer.json) {
      const Json report = {{"archives", files_},
                           {"agree", totals_.agree},
                           {"with_findings", totals_.with_findings},
                           {"no_inputs", totals_.no_inputs},
                           {"records", totals_.records},
                           {"entries", totals_.entries},
                           {"bytes", totals_.bytes},
                           {"findings", totals_.findings}};
      PutJson(report, out_);
    } else if (!options_.directory.empty()) {
      out_.Print("{}: {} agree{}, {} with findings, {} without inputs left; {} entries, {} bytes\n",
                 Counted(totals_.archives, "archive"), totals_.agree, totals_.agree == 1 ? "s" : "",
                 totals_.with_findings, totals_.no_inputs, totals_.entries, totals_.bytes);
    }
    if (!out_.FlushOrFail()) return kExitUnusable;
    if (totals_.unreadable) return kExitUnusable;
    const bool bad = totals_.findings != 0 || (options_.strict && totals_.no_inputs != 0);
    return bad ? kExitFailed : kExitDone;
  }

 private:
  std::string TextOf(const AuditFinding& finding) const {
    std::string text = fmt::format("{}:{}: ", finding.path, finding.offset);
    text += finding.tag.empty() ? fmt::format("record {}", finding.record)
                                : fmt::format("record {} ({})", finding.record, finding.tag);
    if (finding.stamp) text += " of " + TimeText(*finding.stamp, zone_);
    if (!finding.kind.empty()) text += ", " + finding.kind;
    if (!finding.key.empty()) {
      text += " " + finding.key;
      text += labels_.BehindResource(ArrayOfArchive(finding.path), finding.kind, finding.key);
    }
    if (!finding.field.empty()) {
      text += ", " + finding.field;
      text += labels_.BehindGroup(finding.kind, GroupOf(finding.field));
    }
    text += ": ";
    if (finding.text.empty()) {
      text += fmt::format("{}, expected {}",
                          finding.stored.empty() ? "missing" : "stored " + finding.stored,
                          finding.expected);
    } else {
      text += finding.text;
    }
    return text + fmt::format(" [{}]", finding.code);
  }

  Json JsonOf(const AuditFinding& finding) const {
    Json object = {
        {"path", finding.path},         {"class", finding.code},  {"record", finding.record},
        {"tag", finding.tag},           {"stamp", nullptr},       {"time", nullptr},
        {"offset", finding.offset},     {"width", finding.width}, {"kind", finding.kind},
        {"key", finding.key},           {"field", finding.field}, {"stored", finding.stored},
        {"expected", finding.expected}, {"text", finding.text}};
    if (!labels_.empty()) {
      const std::string array = ArrayOfArchive(finding.path);
      object["name"] = labels_.OfResource(array, finding.kind, finding.key);
      object["group_name"] = labels_.OfGroup(finding.kind, GroupOf(finding.field));
    }
    if (finding.stamp) {
      object["stamp"] = *finding.stamp;
      object["time"] = IsoTimeText(*finding.stamp, zone_);
    }
    return object;
  }

  Json JsonOf(const AuditedFile& file, Json more) {
    const AuditResult& result = file.result;
    const char* const verdict = file.no_inputs         ? "no-inputs"
                                : result.findings == 0 ? "agrees"
                                                       : "findings";
    return {{"path", file.path},
            {"verdict", verdict},
            {"revision",
             result.revision == 0 ? Json(nullptr) : Json(fmt::format("0x{:02X}", result.revision))},
            {"inputs", result.used},
            {"rules", result.run == RunKind::kManual ? "manual" : "automatic"},
            {"records", result.records},
            {"entries", result.entries},
            {"bytes", result.bytes},
            {"count", result.findings},
            {"findings", std::move(findings_)},
            {"not_listed", std::move(more)}};
  }

  // Of "g1_max" 1, of fields of no group 0.
  static size_t GroupOf(const std::string& field) {
    const bool group = field.size() > 3 && field[0] == 'g' && field[2] == '_';
    return group && field[1] >= '1' && field[1] <= '9' ? static_cast<size_t>(field[1] - '0') : 0;
  }

  const AuditOptions& options_;
  const Labels& labels_;
  Zone zone_;
  TextOut& out_;
  Progress& progress_;
  AuditTotals totals_;
  std::map<std::string, uint64_t> seen_;
  Json findings_ = Json::Array();
  Json files_ = Json::Array();
};

int Refuse(const char* what, const char* why) { return FailWith(kExitUnusable, what, why); }

int Audit(const AuditOptions& options) {
  const bool single = !options.made.archive.empty();
  if (single == !options.directory.empty()) {
    return Refuse("audit", "needs either --archive with its inputs or --all with a directory");
  }
  if (single && options.made.inputs.empty()) {
    return Refuse("audit --archive", "needs the logs or hour archives that it was made of");
  }
  if (!single && (!options.made.inputs.empty() || options.made.no_period || options.made.any_name ||
                  options.made.whole_run)) {
    return Refuse("audit --all",
                  "finds the inputs by their names: name none, and use neither "
                  "--noperiod nor --any-name");
  }
  if (single && !options.logs_directory.empty()) return Refuse("audit --logs", "goes with --all");
  Labels labels;
  if (!labels.Read(options.answer.labels)) return kExitUnusable;
  TextOut out(stdout);
  Progress progress;
  Report report(options, labels, out, progress);
  if (single) {
    AuditedFile file;
    file.path = options.made.archive;
    AuditRequest audit = {options.made, RunOf(options.run)};
    if (!ResolveInputs(audit)) return kExitUnusable;
    file.result = AuditArchive(
        audit, [&](const AuditFinding& finding) { report.Take(finding); }, progress);
    progress.Clear();
    report.Finish(file);
    return report.Close();
  }
  const std::string& logs =
      options.logs_directory.empty() ? options.directory : options.logs_directory;
  const bool read = AuditDirectory(
      {options.directory, logs, RunOf(options.run)},
      [&](const AuditedFile& file) {
        progress.Clear();
        for (const AuditFinding& finding : file.findings) report.Take(finding);
        report.Finish(file);
      },
      progress);
  progress.Clear();
  if (!read) return kExitUnusable;
  return report.Close();
}

}  // namespace

void AddAuditCommand(Command& command, int& status) {
  AuditOptions& options = command.Runs<AuditOptions>(Audit, status);
  command.AddOption("--archive", options.made.archive, "Archive to be proved")
      ->StandsFor(Stands::kInput);
  AddInputsArgument(command, options.made);
  command.AddOption("--all", options.directory, "All archives of a directory")
      ->StandsFor(Stands::kDirectory);
  command
      .AddOption("--logs", options.logs_directory, "Directory of the logs (default: that of --all)")
      ->StandsFor(Stands::kDirectory);
  command
      .AddOption("--run", options.run,
                 "Whose rules join days: manual, automatic or either (default: what fits)")
      ->Must(OneOf({"manual", "automatic", "either"}));
  AddMakingOptions(command, options.made);
  command.AddFlag("--strict", options.strict, "With --all: archives without inputs count, too");
  command.AddFlag("--full", options.full,
                  "List every finding, not only the first 10 of a class of an archive");
  AddAnswerOptions(command, options.answer);
}

}  // namespace psltool
