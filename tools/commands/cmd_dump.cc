// Command line of `psltool dump`.
#include "tools/commands/commands.h"

#include <unistd.h>

#include <memory>
#include <string>

#include "tools/commands/dump_options.h"
#include "tools/output/report.h"
#include "tools/showing/dump_file.h"

namespace {

constexpr int kBad = 1;
constexpr int kTrouble = 2;

struct Wishes {
  std::string file;
  ChoiceOptions choice;
  std::string format = "table";
  std::string labels;
  bool raw = false;
  bool wide = false;
};

std::unique_ptr<DumpWriter> MakeWriter(const Wishes& wishes, TextOut& out, const Labels& labels) {
  const Zone zone = wishes.choice.zone();
  FileLabels names(labels, wishes.file);
  if (wishes.format == "csv") return MakeCsvWriter(out, zone, std::move(names));
  if (wishes.format == "ndjson") return MakeJsonLinesWriter(out, zone, std::move(names));
  // The words themselves are asked for to be seen.
  return MakeTableWriter(out, zone, std::move(names), wishes.wide || wishes.raw);
}

int Dump(const Wishes& wishes) {
  DumpWishes dump;
  dump.path = wishes.file;
  dump.raw = wishes.raw;
  Labels labels;
  if (!TakeChoice("dump", wishes.choice, dump) || !labels.Read(wishes.labels)) return kTrouble;
  TextOut out(stdout);
  // A table that runs over the terminal shows by itself how far it is.
  Progress progress(isatty(STDOUT_FILENO) == 0);
  const std::unique_ptr<DumpWriter> writer = MakeWriter(wishes, out, labels);
  DumpCount count;
  const DumpEnd end =
      DumpFile(dump, *writer, out, progress, PslReader::Reports::kPrinted, nullptr, &count);
  progress.Clear();
  if (!out.Flush()) {
    static_cast<void>(Fail("standard output", "cannot be written"));
    return kTrouble;
  }
  if (end == DumpEnd::kDone) {
    return HasWhatWasAsked(wishes.file, wishes.choice, dump, count) ? 0 : kBad;
  }
  return end == DumpEnd::kBroken ? kBad : kTrouble;
}

}  // namespace

void AddDumpCommand(Command& command, int& status) {
  auto wishes = std::make_shared<Wishes>();
  command.AddOption("file", wishes->file, "Log or archive")->Required();
  AddChoiceOptions(command, wishes->choice);
  command.AddOption("--format", wishes->format, "table, csv or ndjson (default table)")
      ->Must(OneOf({"table", "csv", "ndjson"}));
  command.AddFlag("--wide", wishes->wide, "All columns in tables, however long the lines get");
  command.AddFlag("--raw", wishes->raw, "Also the words as they stand in the file");
  AddLabelsOption(command, wishes->labels);
  command.Does([wishes, &status] { status = Dump(*wishes); });
}
