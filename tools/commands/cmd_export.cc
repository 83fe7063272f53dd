// Command line of `psltool export`.
#include "tools/commands/commands.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/names.h"
#include "tools/commands/dump_options.h"
#include "tools/commands/files_option.h"
#include "tools/exporting/export_file.h"
#include "tools/output/report.h"

namespace psltool {

namespace {

struct ExportOptions {
  std::vector<std::string> files;
  std::vector<std::string> to;  // a format or the last time: words and times cannot be mixed up
  std::string format;
  std::vector<std::string> metrics;
  std::vector<std::string> statistics;
  std::string labels;
  std::string out;
  std::string array;
  ChoiceOptions choice;
};

// A failure that leaves a text file as it was.
constexpr int kNothing = -1;

constexpr const char* kFormats[] = {"csv", "wide", "ndjson", "sqlite", "openmetrics"};

bool IsFormat(const std::string& text) {
  return std::find(std::begin(kFormats), std::end(kFormats), text) != std::end(kFormats);
}

// Sorts out what stands behind --to.
bool TakeForm(ExportOptions& options) {
  for (const std::string& text : options.to) {
    std::string& place = IsFormat(text) ? options.format : options.choice.to;
    if (!place.empty() && place != text) {
      return Fail("export --to", fmt::format("'{}' and '{}' exclude each other", place, text));
    }
    place = text;
  }
  return !options.format.empty() ||
         Fail("export", "--format csv, wide, ndjson, sqlite or openmetrics is needed");
}

// Those that need no number filled in.
std::vector<std::string> WholeMetricNames() {
  std::vector<std::string> names = MetricNames();
  std::erase_if(names, [](const std::string& name) { return !IsMetric(name); });
  return names;
}

bool TakeMetrics(const ExportOptions& options, ExportRequest& what) {
  for (const std::string& name : options.metrics) {
    if (IsMetric(name)) continue;
    return Fail("export --metric", fmt::format("'{}' is no metric; there are {}, of counter groups "
                                               "also with the group, as in g1_ops",
                                               name, fmt::join(MetricNames(), ", ")));
  }
  what.metrics = options.metrics;
  what.statistics = options.statistics;
  return true;
}

// In a database the rows of a file go by its name, so that two of a name would replace each other.
bool NamesDiffer(const std::vector<std::string>& files) {
  std::map<std::string, std::string> seen;
  for (const std::string& path : files) {
    const auto [other, is_new] = seen.emplace(BaseName(path), path);
    if (!is_new) {
      return Fail(path, "has the name of " + other->second +
                            ", and rows in a database go by names of files");
    }
  }
  return true;
}

// Beside the output there is room for much; without one where the system keeps such files.
std::string ScratchOf(const ExportOptions& options) {
  if (!options.out.empty()) return DirectoryOf(options.out);
  const char* const directory = std::getenv("TMPDIR");
  return directory != nullptr && *directory != '\0' ? directory : "/tmp";
}

std::unique_ptr<ExportSink> MakeSink(const ExportOptions& options, const ExportRequest& what,
                                     const Labels& labels, TextOut* out) {
  const Zone zone = options.choice.zone();
  if (options.format == "sqlite") return MakeSqliteSink(options.out, labels);
  if (options.format == "openmetrics") return MakeOpenMetricsSink(*out, ScratchOf(options), labels);
  if (options.format == "wide") {
    return MakeWideSink(*out, zone, labels, ColumnsOfFiles(what, options.files));
  }
  return options.format == "csv" ? MakeCsvSink(*out, zone, labels)
                                 : MakeJsonLinesSink(*out, zone, labels);
}

// False: the files hold nothing of what was asked for, reported.
bool HasRows(const ExportOptions& options, const ExportRequest& what, const Exporter& exporter) {
  if (!HasWhatWasAsked("export", options.choice, what.dump, exporter.count())) return false;
  if (exporter.rows() != 0 || (what.metrics.empty() && what.statistics.empty())) return true;
  return Fail("export", fmt::format("no entry has the metric{}{}{}{}",
                                    what.metrics.empty() ? "" : " ", fmt::join(what.metrics, ", "),
                                    what.statistics.empty() ? "" : " with the statistic ",
                                    fmt::join(what.statistics, ", ")));
}

// Puts all files. The status is that of the worst; nothing: the output failed.
std::optional<int> PutFiles(const ExportOptions& options, ExportRequest& what, ExportSink& sink) {
  // Rows that run over the terminal show by themselves how far it is.
  Progress progress(!options.out.empty() || isatty(STDOUT_FILENO) == 0);
  Exporter exporter(what, sink, progress);
  int status = kExitDone;
  bool any = false;
  for (const std::string& path : options.files) {
    const DumpEnd end = exporter.Take(path);
    progress.Clear();
    if (exporter.failed()) return std::nullopt;
    any = any || end == DumpEnd::kDone || end == DumpEnd::kBroken;
    status = std::max(status, StatusOf(end));
  }
  if (status == kExitDone && !HasRows(options, what, exporter)) status = kNothing;
  // Of nothing no file is made; a reader of standard output has seen the head already.
  const bool finish = any && (status != kNothing || options.out.empty());
  if (finish && !sink.Finish()) return std::nullopt;
  return status;
}

int Export(ExportOptions& options) {
  if (!TakeForm(options)) return kExitRefused;
  ExportRequest what;
  what.array = options.array;
  Labels labels;
  if (!TakeChoice("export", options.choice, what.dump) || !TakeMetrics(options, what) ||
      !MayWrite("export -o", options.out, options.files, {options.labels}) ||
      !labels.Read(options.labels)) {
    return kExitRefused;
  }
  const bool database = options.format == "sqlite";
  if (database && options.out.empty()) {
    return FailWith(kExitRefused, "export --format sqlite", "needs -o with the database's path");
  }
  if (database && !NamesDiffer(options.files)) return kExitRefused;
  // Text goes to standard output, or into a file that is renamed when it is whole.
  std::optional<RecordFile> part;
  if (!database && !options.out.empty() && !part.emplace(options.out).Create())
    return kExitUnusable;
  std::optional<TextOut> out;
  if (part) {
    out.emplace(*part);
  } else {
    out.emplace(stdout);
  }
  const std::unique_ptr<ExportSink> sink = MakeSink(options, what, labels, &*out);
  if (sink == nullptr) return kExitUnusable;
  const std::optional<int> status = PutFiles(options, what, *sink);
  // A part file and a database tell by themselves what failed.
  const bool printed = out->FlushOrFail();
  if (!status || !printed) return kExitUnusable;
  if (*status == kNothing) return kExitFailed;
  // What lacks a file is no export of all of them.
  if (!part || *status == kExitUnusable) return *status;
  return part->FinishDurably() ? *status : kExitUnusable;
}

}  // namespace

void AddExportCommand(Command& command, int& status) {
  ExportOptions& options = command.Runs<ExportOptions>(Export, status);
  AddFilesOption(command, options.files);
  command.AddOption("--format", options.format, "csv, wide, ndjson, sqlite or openmetrics")
      ->Must(OneOf(std::vector<std::string>(std::begin(kFormats), std::end(kFormats))));
  command
      .AddOption("--to", options.to,
                 "The last time, the day or minute as a whole; also the form, as with --format")
      ->OneEachTime()
      ->StandsFor(Stands::kTime);
  command.AddOption("-o,--out", options.out,
                    "File to write (default: standard output; a database needs it)");
  command
      .AddOption("--array", options.array, "Name of the array of files whose names do not tell it")
      ->StandsFor(Stands::kText);
  AddChoiceOptions(command, options.choice, false);
  command
      .AddOption("--metric", options.metrics,
                 "Metric, as in ops_rate, or of one counter group, g1_ops_rate (several times; "
                 "default all)")
      ->OneEachTime()
      ->StandsFor(Stands::kText)
      ->Offers(WholeMetricNames());
  command
      .AddOption("--stat", options.statistics,
                 "Statistic: how values came about (several times; default all)")
      ->OneEachTime()
      ->Must(OneOf(StatisticNames()));
  AddLabelsOption(command, options.labels);
}

}  // namespace psltool
