// psltool over given bytes: see the header.
#include "tests/support/tools/psltool_target.h"

#include <cstdio>
#include <memory>

#include "tests/support/tempdir.h"
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

}  // namespace

PsltoolTargetResult RunPsltool(std::span<const uint8_t> bytes) {
  PsltoolTargetResult result;
  const TempDir dir;
  const std::string input(bytes.begin(), bytes.end());
  dir.Write("x.psl", input);
  const std::string path = dir.Path("x.psl");
  const CheckedFile checked = Check(path);
  result.clean = checked.errors == 0;
  DumpEnd dumped = DumpEnd::kDone;
  for (const char* format : {"table", "csv", "ndjson"}) {
    dumped = Dump(path, format, format[0] == 'n');
    if (result.clean && dumped != DumpEnd::kDone) {
      result.contradiction = "a clean file cannot be dumped";
    }
  }
  for (const char* form : {"csv", "wide", "ndjson", "openmetrics"}) {
    if (Export(path, form, dir.Path()) != dumped) {
      result.contradiction = "a file is exported otherwise than dumped";
    }
  }
  Progress progress(false);
  FileSummary summary;
  Summarize(path, Zone::kLocal, progress, summary);
  if (result.clean && summary.trouble) result.contradiction = "a clean file cannot be summarized";

  SalvageEnd end;
  const SalvageReport prefix = Save(path, dir.Path("good.psl"), false, end);
  result.saved = end == SalvageEnd::kWritten;
  if (result.saved && Check(dir.Path("good.psl")).errors != 0) {
    result.contradiction = "what was saved is broken";
  }
  if (result.clean && checked.records != 0 && prefix.mended.empty() &&
      dir.Read("good.psl") != input) {
    result.contradiction = "a clean file was not saved as it is";
  }
  const SalvageReport found = Save(path, dir.Path("more.psl"), true, end);
  if (end == SalvageEnd::kWritten && Check(dir.Path("more.psl")).errors != 0) {
    result.contradiction = "what was saved with resync is broken";
  }
  if (found.kept_bytes < prefix.kept_bytes) {
    result.contradiction = "less was saved with resync";
  }
  if (found.kept_bytes + found.dropped_bytes != found.size && end == SalvageEnd::kWritten) {
    result.contradiction = "bytes are neither kept nor dropped";
  }
  result.saved_more = found.kept_bytes > prefix.kept_bytes;
  for (const std::string& name : dir.Names()) {
    if (name.ends_with(".part")) result.contradiction = "a partial file was left";
  }
  return result;
}
