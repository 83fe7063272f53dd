// psltool over given bytes: see the header.
#include "tests/support/tools/psltool_target.h"

#include <cstdio>
#include <iterator>

#include "tests/support/scratch.h"
#include "tools/checking/check_file.h"
#include "tools/checking/salvage.h"
#include "tools/exporting/export_file.h"
#include "tools/reading/file_summary.h"
#include "tools/showing/dump_file.h"

using namespace psltool;

namespace {

CheckedFile Check(const std::string& path) {
  Progress progress(false);
  return CheckFile(
      path, [](const Finding&) {}, progress);
}

DumpEnd Dump(const std::string& path, const std::string& format, bool raw) {
  static std::FILE* const nowhere = std::fopen("/dev/null", "w");
  TextOut out(nowhere);
  Progress progress(false);
  DumpRequest request;
  request.path = path;
  request.raw = raw;
  static const Labels none;
  const FileLabels labels(none, path);
  const auto writer = format == "csv"      ? MakeCsvWriter(out, Zone::kLocal, labels)
                      : format == "ndjson" ? MakeJsonLinesWriter(out, Zone::kUtc, labels)
                                           : MakeTableWriter(out, Zone::kUtc, labels, false);
  return DumpFile(request, *writer, out, progress, PslReader::Reports::kKept);
}

// Exports in one of the text forms. What is exported in an orderly way ends as a dump does.
DumpEnd Export(const std::string& path, const std::string& form, const std::string& scratch) {
  static std::FILE* const nowhere = std::fopen("/dev/null", "w");
  TextOut out(nowhere);
  Progress progress(false);
  static const Labels none;
  const auto sink = form == "csv"      ? MakeCsvSink(out, Zone::kLocal, none)
                    : form == "ndjson" ? MakeJsonLinesSink(out, Zone::kUtc, none)
                    : form == "wide"
                        ? MakeWideSink(out, Zone::kUtc, none, ColumnsOfFiles({}, {path}))
                        : MakeOpenMetricsSink(out, scratch, none);
  Exporter exporter({}, *sink, progress, PslReader::Reports::kKept);
  const DumpEnd end = exporter.Take(path);
  return exporter.failed() || !sink->Finish() ? DumpEnd::kUnreadable : end;
}

SalvageReport Save(const std::string& from, const std::string& to, bool resync, SalvageEnd& end) {
  Progress progress(false);
  SalvageReport report;
  SalvageRequest request;
  request.broken = from;
  request.good = to;
  request.resync = resync;
  end = Salvage(request, progress, report);
  return report;
}

constexpr const char* kDumps[] = {"table", "csv", "ndjson"};
constexpr const char* kExports[] = {"csv", "wide", "ndjson", "openmetrics"};
constexpr const char* kSaved = "good.psl";
constexpr const char* kSavedMore = "more.psl";

void ReadIt(const std::string& path, unsigned forms, PsltoolTargetResult& result) {
  DumpEnd dumped = DumpEnd::kDone;
  bool any_dump = false;
  for (size_t i = 0; i < std::size(kDumps); ++i) {
    if ((forms & kDumpForm << i) == 0) continue;
    any_dump = true;
    dumped = Dump(path, kDumps[i], kDumps[i][0] == 'n');
    if (result.clean && dumped != DumpEnd::kDone) {
      result.contradiction = "a clean file cannot be dumped";
    }
  }
  for (size_t i = 0; i < std::size(kExports); ++i) {
    if ((forms & kExportForm << i) == 0) continue;
    const DumpEnd exported = Export(path, kExports[i], Scratch::Directory().Path());
    if (any_dump && exported != dumped) {
      result.contradiction = "a file is exported otherwise than dumped";
    }
  }
  Progress progress(false);
  FileSummary summary;
  Summarize(path, Zone::kLocal, progress, summary);
  if (result.clean && summary.trouble) result.contradiction = "a clean file cannot be summarized";
}

void SaveIt(const std::string& path, std::span<const uint8_t> bytes, uint64_t records,
            PsltoolTargetResult& result) {
  const std::string good = Scratch::Path(kSaved);
  const std::string more = Scratch::Path(kSavedMore);
  SalvageEnd end;
  const SalvageReport prefix = Save(path, good, false, end);
  result.saved = end == SalvageEnd::kWritten;
  if (result.saved && Check(good).errors != 0) result.contradiction = "what was saved is broken";
  if (result.clean && records != 0 && prefix.mended.empty() &&
      TempDir::ReadFile(good) != std::string(bytes.begin(), bytes.end())) {
    result.contradiction = "a clean file was not saved as it is";
  }
  const SalvageReport found = Save(path, more, true, end);
  if (end == SalvageEnd::kWritten && Check(more).errors != 0) {
    result.contradiction = "what was saved with resync is broken";
  }
  if (found.kept_bytes < prefix.kept_bytes) result.contradiction = "less was saved with resync";
  if (found.kept_bytes + found.dropped_bytes != found.size && end == SalvageEnd::kWritten) {
    result.contradiction = "bytes are neither kept nor dropped";
  }
  result.saved_more = found.kept_bytes > prefix.kept_bytes;
}

// What the run left, input apart. Others keep files of their own there.
bool LeftAnything() {
  Scratch::Remove("x.psl");
  Scratch::Remove(kSaved);
  Scratch::Remove(kSavedMore);
  for (const std::string& name : Scratch::Directory().Names()) {
    if (name.ends_with(".part") || name.ends_with(".tmp")) return true;
  }
  return false;
}

}  // namespace

PsltoolTargetResult RunPsltool(std::span<const uint8_t> bytes, unsigned forms) {
  PsltoolTargetResult result;
  const std::string path = Scratch::Write("x.psl", bytes);
  const CheckedFile checked = Check(path);
  result.clean = checked.errors == 0;
  result.level = checked.level;
  if ((forms & kEveryForm) != 0) ReadIt(path, forms, result);
  if ((forms & kSalvage) != 0) SaveIt(path, bytes, checked.records, result);
  if (LeftAnything()) result.contradiction = "a partial file was left";
  return result;
}
