// Command line of `psltool dump`: see the header.
#include "tools/cmd_dump.h"

#include <unistd.h>

#include <memory>
#include <string>

#include "tools/dump_file.h"
#include "tools/dump_options.h"
#include "tools/report.h"

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

void AddDumpCommand(CLI::App& app, int& status) {
  auto wishes = std::make_shared<Wishes>();
  CLI::App* command = app.add_subcommand("dump", "Print the entries of a file, field by field");
  command->footer(
      "Rates and percentages are computed from the words; \"ops\" are operations, the means are "
      "per\n"
      "operation and in the unit of the file. In tables each counter group has a line of its own, "
      "and\n"
      "columns that have no room in 120 characters are left out, unless --wide is given.\n"
      "--raw adds the words as they stand: offset, ratio, q0 to q3 of each group, extended "
      "words.\n\n"
      "Exit status: 0 done, 1 the file is broken (what stands in front of the place is printed)\n"
      "or has no record of the time or none of the key, 2 the file could not be read or the "
      "command line is wrong.\n\n"
      "Examples:\n"
      "  psltool dump 20240304array01.psl --kind ld --key 21\n"
      "  psltool dump 20240304array01.psl --kind pd --from \"2024-03-04 09:00\" --format csv\n"
      "  psltool dump archive/20240304array01.psa --utc --format ndjson | jq .g1_ops_per_s");
  command->add_option("file", wishes->file, "Log or archive")->required();
  AddChoiceOptions(*command, wishes->choice);
  command->add_option("--format", wishes->format, "table, csv or ndjson (default table)")
      ->check(CLI::IsMember({"table", "csv", "ndjson"}));
  command->add_flag("--wide", wishes->wide, "All columns in tables, however long the lines get");
  command->add_flag("--raw", wishes->raw, "Also the words as they stand in the file");
  AddLabelsOption(*command, wishes->labels);
  command->callback([wishes, &status] { status = Dump(*wishes); });
}
