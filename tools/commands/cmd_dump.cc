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

constexpr int kBad = 1;
constexpr int kTrouble = 2;

struct Wishes {
  std::vector<std::string> files;
  ChoiceOptions choice;
  std::string format = "table";
  std::string labels;
  bool raw = false;
  bool wide = false;
};

std::unique_ptr<DumpWriter> MakeWriter(const Wishes& wishes, const std::string& file, TextOut& out,
                                       const Labels& labels) {
  const Zone zone = wishes.choice.zone();
  FileLabels names(labels, file);
  if (wishes.format == "csv") return MakeCsvWriter(out, zone, std::move(names));
  if (wishes.format == "ndjson") return MakeJsonLinesWriter(out, zone, std::move(names));
  // The words themselves are asked for to be seen.
  return MakeTableWriter(out, zone, std::move(names), wishes.wide || wishes.raw);
}

// One file; returns the exit status.
int DumpOne(const Wishes& wishes, const DumpWishes& dump, TextOut& out, const Labels& labels,
            Progress& progress) {
  const std::unique_ptr<DumpWriter> writer = MakeWriter(wishes, dump.path, out, labels);
  DumpCount count;
  const DumpEnd end =
      DumpFile(dump, *writer, out, progress, PslReader::Reports::kPrinted, nullptr, &count);
  progress.Clear();
  if (!out.Flush()) {
    static_cast<void>(Fail("standard output", "cannot be written"));
    return kTrouble;
  }
  if (end == DumpEnd::kDone) {
    return HasWhatWasAsked(dump.path, wishes.choice, dump, count) ? 0 : kBad;
  }
  return end == DumpEnd::kBroken ? kBad : kTrouble;
}

int Dump(const Wishes& wishes) {
  DumpWishes dump;
  dump.raw = wishes.raw;
  Labels labels;
  if (!TakeChoice("dump", wishes.choice, dump) || !labels.Read(wishes.labels)) return kTrouble;
  const bool several = wishes.files.size() > 1;
  if (several && wishes.format != "table") {
    // Files of other revisions have other columns, and rows do not tell their file.
    static_cast<void>(Fail("dump", fmt::format("{} files: {} is of one file; psltool export takes "
                                               "any number",
                                               wishes.files.size(), wishes.format)));
    return kTrouble;
  }
  TextOut out(stdout);
  // A table that runs over the terminal shows by itself how far it is.
  Progress progress(isatty(STDOUT_FILENO) == 0);
  int status = 0;
  for (const std::string& file : wishes.files) {
    if (several) out.Print("{}{}\n", file == wishes.files.front() ? "" : "\n", file);
    dump.path = file;
    status = std::max(status, DumpOne(wishes, dump, out, labels, progress));
  }
  return status;
}

}  // namespace

void AddDumpCommand(Command& command, int& status) {
  auto wishes = std::make_shared<Wishes>();
  AddFilesOption(command, wishes->files);
  AddChoiceOptions(command, wishes->choice);
  command.AddOption("--format", wishes->format, "table, csv or ndjson (default table)")
      ->Must(OneOf({"table", "csv", "ndjson"}));
  command.AddFlag("--wide", wishes->wide, "All columns in tables, however long the lines get");
  command.AddFlag("--raw", wishes->raw, "Also the words as they stand in the file");
  AddLabelsOption(command, wishes->labels);
  command.Does([wishes, &status] { status = Dump(*wishes); });
}

}  // namespace psltool
