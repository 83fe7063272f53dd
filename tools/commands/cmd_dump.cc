// Command line of `psltool dump`.
#include "tools/commands/commands.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tools/commands/dump_options.h"
#include "tools/commands/files_option.h"
#include "tools/output/report.h"
#include "tools/showing/dump_file.h"

namespace psltool {

namespace {

struct DumpOptions {
  std::vector<std::string> files;
  ChoiceOptions choice;
  std::string format = "table";
  std::string labels;
  bool raw = false;
  bool wide = false;
};

std::unique_ptr<DumpWriter> MakeWriter(const DumpOptions& options, const std::string& file,
                                       TextOut& out, const Labels& labels) {
  const Zone zone = options.choice.zone();
  FileLabels names(labels, file);
  if (options.format == "csv") return MakeCsvWriter(out, zone, std::move(names));
  if (options.format == "ndjson") return MakeJsonLinesWriter(out, zone, std::move(names));
  // The words themselves are asked for to be seen.
  return MakeTableWriter(out, zone, std::move(names), options.wide || options.raw);
}

// One file; returns the exit status.
int DumpOne(const DumpOptions& options, const DumpRequest& dump, TextOut& out, const Labels& labels,
            Progress& progress) {
  const std::unique_ptr<DumpWriter> writer = MakeWriter(options, dump.path, out, labels);
  DumpCount count;
  const DumpEnd end =
      DumpFile(dump, *writer, out, progress, PslReader::Reports::kPrinted, nullptr, &count);
  progress.Clear();
  if (!out.FlushOrFail()) return kExitUnusable;
  if (end == DumpEnd::kDone) {
    return HasWhatWasAsked(dump.path, options.choice, dump, count) ? 0 : kExitFailed;
  }
  return StatusOf(end);
}

int Dump(const DumpOptions& options) {
  DumpRequest dump;
  dump.raw = options.raw;
  Labels labels;
  if (!TakeChoice("dump", options.choice, dump) || !labels.Read(options.labels))
    return kExitUnusable;
  const bool several = options.files.size() > 1;
  if (several && options.format != "table") {
    // Files of other revisions have other columns, and rows do not tell their file.
    return FailWith(kExitUnusable, "dump",
                    fmt::format("{} files: {} is of one file; psltool export takes "
                                "any number",
                                options.files.size(), options.format));
  }
  TextOut out(stdout);
  // A table that runs over the terminal shows by itself how far it is.
  Progress progress(isatty(STDOUT_FILENO) == 0);
  int status = 0;
  for (const std::string& file : options.files) {
    if (several) out.Print("{}{}\n", file == options.files.front() ? "" : "\n", file);
    dump.path = file;
    status = std::max(status, DumpOne(options, dump, out, labels, progress));
  }
  return status;
}

}  // namespace

void AddDumpCommand(Command& command, int& status) {
  DumpOptions& options = command.Runs<DumpOptions>(Dump, status);
  AddFilesOption(command, options.files);
  AddChoiceOptions(command, options.choice);
  command.AddOption("--format", options.format, "table, csv or ndjson (default table)")
      ->Must(OneOf({"table", "csv", "ndjson"}));
  command.AddFlag("--wide", options.wide, "All columns in tables, however long the lines get");
  command.AddFlag("--raw", options.raw, "Also the words as they stand in the file");
  AddLabelsOption(command, options.labels);
}

}  // namespace psltool
