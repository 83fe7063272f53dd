// Command line and report of `psltool check`.
#include "tools/commands/commands.h"

#include <unistd.h>

#include <map>
#include <string>
#include <vector>

#include "tools/checking/check_file.h"
#include "tools/checking/digest.h"
#include "tools/checking/sums_file.h"
#include "tools/commands/dump_options.h"
#include "tools/output/json.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"
#include "tools/reading/input_files.h"

namespace psltool {

namespace {

constexpr uint64_t kListedOfFile = 10;  // of each class of findings and file

struct CheckOptions {
  std::vector<std::string> paths;
  bool json = false;
  bool strict = false;
  bool all = false;
  bool quiet = false;
};

struct CheckTotals {
  uint64_t files = 0;  // that could be read
  uint64_t bad_files = 0;
  uint64_t errors = 0;
  uint64_t warnings = 0;
  uint64_t notes = 0;
  uint64_t unreadable = 0;
};

const char* WordOf(Severity severity) {
  switch (severity) {
    case Severity::kNote:
      return "note";
    case Severity::kWarning:
      return "warning";
    case Severity::kError:
      return "error";
    case Severity::kUnreadable:
      break;
  }
  return "unreadable";
}

// Prints findings, or gathers them for the JSON text.
class Listing {
 public:
  Listing(const CheckOptions& options, TextOut& out, Progress& progress)
      : options_(options), out_(out), progress_(progress) {}

  void Take(const std::string& path, const Finding& finding) {
    const uint64_t number = ++seen_[{finding.severity, finding.code}];
    if (!options_.all && number > kListedOfFile) return;
    if (options_.json) {
      findings_.Append({{"severity", WordOf(finding.severity)},
                        {"class", finding.code},
                        {"record", finding.placed ? Json(finding.record) : Json()},
                        {"tag", finding.tag},
                        {"offset", finding.placed ? Json(finding.offset) : Json()},
                        {"field", finding.field},
                        {"text", finding.text}});
      return;
    }
    progress_.Clear();
    if (finding.severity == Severity::kUnreadable) {
      Fail(path, finding.text);
      return;
    }
    if (options_.quiet) return;
    if (!finding.placed) {
      out_.Print("{}: {}: {} [{}]\n", path, WordOf(finding.severity), finding.text, finding.code);
      return;
    }
    const std::string record = finding.tag.empty()
                                   ? fmt::format("record {}", finding.record)
                                   : fmt::format("record {} ({})", finding.record, finding.tag);
    out_.Print("{}:{}: {}: {}{}{}: {} [{}]\n", path, finding.offset, WordOf(finding.severity),
               record, finding.field.empty() ? "" : ", ", finding.field, finding.text,
               finding.code);
  }

  // Tells of what was not listed, and starts anew.
  void Finish(const CheckedFile& file) {
    Json more = Json::Array();
    for (const auto& [key, count] : seen_) {
      if (options_.all || count <= kListedOfFile) continue;
      more.Append({{"class", key.second}, {"count", count - kListedOfFile}});
      if (options_.json || options_.quiet) continue;
      out_.Print("{}: {} of class {}\n", file.path, Counted(count - kListedOfFile, "more finding"),
                 key.second);
    }
    if (options_.json) {
      Json object = {{"path", file.path},         {"size", file.size},
                     {"revision", nullptr},       {"level", nullptr},
                     {"records", file.records},   {"errors", file.errors},
                     {"warnings", file.warnings}, {"notes", file.notes}};
      if (file.revision != 0) {
        object["revision"] = fmt::format("0x{:02X}", file.revision);
        object["level"] = TagText({&file.level, 1});
      }
      object["findings"] = std::move(findings_);
      object["not_listed"] = std::move(more);
      files_.Append(std::move(object));
    }
    findings_ = Json::Array();
    seen_.clear();
  }

  void Close(const CheckTotals& totals) {
    if (options_.json) {
      const Json report = {{"files", files_},
                           {"errors", totals.errors},
                           {"warnings", totals.warnings},
                           {"notes", totals.notes},
                           {"unreadable", totals.unreadable}};
      PutJson(report, out_);
    } else if (!options_.quiet) {
      out_.Print(
          "{}, {} with findings: {}, {}{}{}\n", Counted(totals.files, "file"), totals.bad_files,
          Counted(totals.errors, "error"), Counted(totals.warnings, "warning"),
          totals.notes == 0 ? "" : ", " + Counted(totals.notes, "note"),
          totals.unreadable == 0 ? "" : fmt::format("; {} could not be read", totals.unreadable));
    }
  }

 private:
  const CheckOptions& options_;
  TextOut& out_;
  Progress& progress_;
  std::map<std::pair<Severity, std::string>, uint64_t> seen_;
  Json findings_ = Json::Array();
  Json files_ = Json::Array();
};

// Compares a file with the digest under which it was sealed. Which byte differs a digest does not
// tell.
void CheckSeal(const std::string& sealed, const FindingSink& sink, Progress& progress,
               CheckedFile& file) {
  if (sealed.empty() || file.unreadable) return;
  const Digest digest = DigestOfFile(file.path, progress);
  Finding finding;
  finding.placed = false;
  if (digest.end == DigestEnd::kDone && digest.hex == sealed) return;
  if (digest.end == DigestEnd::kUnreadable || digest.end == DigestEnd::kMissing) {
    finding.severity = Severity::kUnreadable;
    finding.code = "unreadable";
    finding.text = digest.end == DigestEnd::kMissing ? "no longer exists" : digest.why;
    file.unreadable = true;
  } else {
    finding.code = "digest";
    finding.text = fmt::format("digest differs from {}", kSumsName);
    ++file.errors;
  }
  sink(finding);
}

// Tells of files of the directories named that were sealed and are gone.
void CheckGone(const CheckOptions& options, SumsOfDirectories& sums, Listing& listing,
               CheckTotals& totals) {
  for (std::string directory : DirectoriesWith(options.paths, kSumsName)) {
    while (directory.size() > 1 && directory.ends_with('/')) directory.pop_back();
    for (const std::string& name : sums.GoneFrom(directory)) {
      CheckedFile file;
      file.path = directory + "/" + name;
      file.errors = 1;
      Finding finding;
      finding.placed = false;
      finding.code = "sealed-gone";
      finding.text = fmt::format("has a line in {}, but is gone", kSumsName);
      listing.Take(file.path, finding);
      listing.Finish(file);
      ++totals.files;
      ++totals.bad_files;
      ++totals.errors;
    }
  }
}

int Check(const CheckOptions& options) {
  TextOut out(stdout);
  Progress progress(!options.quiet);
  Listing listing(options, out, progress);
  CheckTotals totals;
  SumsOfDirectories sums;
  std::vector<std::string> files;
  // What can be read is checked also where a directory cannot.
  const bool trouble = !CollectFiles(options.paths, files);
  if (files.empty()) return kExitUnusable;
  CheckGone(options, sums, listing, totals);
  for (const std::string& path : files) {
    const auto take = [&](const Finding& finding) { listing.Take(path, finding); };
    CheckedFile file = CheckFile(path, take, progress);
    CheckSeal(sums.DigestFor(path), take, progress, file);
    listing.Finish(file);
    totals.errors += file.errors;
    totals.warnings += file.warnings;
    totals.notes += file.notes;
    if (file.unreadable) {
      ++totals.unreadable;
    } else {
      ++totals.files;
      totals.bad_files += file.errors + file.warnings != 0 ? 1 : 0;
    }
    if (out.failed()) break;
  }
  progress.Clear();
  listing.Close(totals);
  if (!out.FlushOrFail()) return kExitUnusable;
  if (trouble || sums.trouble() || totals.unreadable != 0) return kExitUnusable;
  return totals.errors != 0 || (options.strict && totals.warnings != 0) ? kExitFailed : kExitDone;
}

}  // namespace

void AddCheckCommand(Command& command, int& status) {
  CheckOptions& options = command.Runs<CheckOptions>(Check, status);
  command.AddOption("files", options.paths, kFilesHelp)->Required()->StandsFor(Stands::kInput);
  command.AddFlag("--strict", options.strict, "Warnings count for the exit status, too");
  command.AddFlag("--all", options.all,
                  "List every finding, not only the first 10 of a class in a file");
  AddJsonFlag(command, options.json);
  command.AddFlag("-q,--quiet", options.quiet,
                  "No text but of what cannot be read, only the exit status");
}

}  // namespace psltool
