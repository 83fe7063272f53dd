// Command line of `psltool dump`: see the header.
#include "tools/cmd_dump.h"

#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "tools/dump_file.h"
#include "tools/kind_names.h"
#include "tools/report.h"

namespace {

constexpr int kBad = 1;
constexpr int kTrouble = 2;

struct Wishes {
  std::string file;
  std::vector<std::string> kinds;
  std::string key;
  std::string from;
  std::string to;
  std::string format = "table";
  bool raw = false;
  bool utc = false;
};

std::vector<std::string> KindWords() {
  std::vector<std::string> words;
  for (const KindName& name : KindNames()) words.emplace_back(name.word);
  words.emplace_back(WordOfKind(kWaittm));
  return words;
}

Kind KindOfWord(const std::string& word) {
  return word == WordOfKind(kWaittm) ? kWaittm : *KindOf(word);
}

bool TakeTime(const char* option, const std::string& text, Zone zone, bool last,
              std::optional<uint32_t>& time) {
  if (text.empty()) return true;
  time = ParseTime(text, zone, last);
  return time || Fail(std::string("dump ") + option,
                      "'" + text + "' is no time like 2024-03-04 or \"2024-03-04 10:05\"");
}

int Dump(const Wishes& wishes) {
  const Zone zone = wishes.utc ? Zone::kUtc : Zone::kLocal;
  DumpWishes dump;
  dump.path = wishes.file;
  dump.raw = wishes.raw;
  for (const std::string& word : wishes.kinds) dump.kinds.push_back(KindOfWord(word));
  if (!TakeTime("--from", wishes.from, zone, false, dump.from) ||
      !TakeTime("--to", wishes.to, zone, true, dump.to)) {
    return kTrouble;
  }
  if (!wishes.key.empty()) {
    if (dump.kinds.size() != 1) {
      static_cast<void>(Fail("dump --key", "needs one --kind"));
      return kTrouble;
    }
    dump.key = wishes.key;
  }
  TextOut out(stdout);
  // A table that runs over the terminal shows by itself how far it is.
  Progress progress(isatty(STDOUT_FILENO) == 0);
  const std::unique_ptr<DumpWriter> writer = wishes.format == "csv" ? MakeCsvWriter(out, zone)
                                             : wishes.format == "ndjson"
                                                 ? MakeJsonLinesWriter(out, zone)
                                                 : MakeTableWriter(out, zone);
  const DumpEnd end = DumpFile(dump, *writer, out, progress);
  progress.Clear();
  if (!out.Flush()) {
    static_cast<void>(Fail("standard output", "cannot be written"));
    return kTrouble;
  }
  if (end == DumpEnd::kDone) return 0;
  return end == DumpEnd::kBroken ? kBad : kTrouble;
}

}  // namespace

void AddDumpCommand(CLI::App& app, int& status) {
  auto wishes = std::make_shared<Wishes>();
  CLI::App* command = app.add_subcommand("dump", "Print the entries of a file, field by field");
  command->footer(
      "Rates and percentages are computed from the words; \"ops\" are operations, the means are "
      "per\n"
      "operation and in the unit of the file. In tables each counter group has a line of its own.\n"
      "--raw adds the words as they stand: offset, ratio, q0 to q3 of each group, extended "
      "words.\n\n"
      "Exit status: 0 done, 1 the file is broken (what stands in front of the place is printed),\n"
      "2 the file could not be read or the command line is wrong.\n\n"
      "Examples:\n"
      "  psltool dump 20240304array01.psl --kind ld --key 21\n"
      "  psltool dump 20240304array01.psl --kind pd --from \"2024-03-04 09:00\" --format csv\n"
      "  psltool dump archive/20240304array01.psa --utc --format ndjson | jq .g1_ops_per_s");
  command->add_option("file", wishes->file, "Log or archive")->required();
  command->add_option("-k,--kind", wishes->kinds, "Kind of resources (several times; default all)")
      ->check(CLI::IsMember(KindWords()))
      ->allow_extra_args(false);
  command->add_option("--key", wishes->key,
                      "One resource of the kind: a number, or key bytes with points between");
  command->add_option("--from", wishes->from,
                      "First time: 2024-03-04, \"2024-03-04 10:05[:30]\" or @seconds");
  command->add_option("--to", wishes->to, "Last time, the day or minute as a whole");
  command->add_option("--format", wishes->format, "table, csv or ndjson (default table)")
      ->check(CLI::IsMember({"table", "csv", "ndjson"}));
  command->add_flag("--raw", wishes->raw, "Also the words as they stand in the file");
  command->add_flag("--utc", wishes->utc, "Times in UTC instead of local time");
  command->callback([wishes, &status] { status = Dump(*wishes); });
}
