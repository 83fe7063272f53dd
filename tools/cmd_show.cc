// Command line of `psltool show`: see the header. The entries are those of `dump`, chosen and
// decoded by the same code.
#include "tools/cmd_show.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tools/dump_options.h"
#include "tools/files_option.h"
#include "tools/kind_names.h"
#include "tools/report.h"
#include "tools/show_rows.h"

namespace {

struct Wishes {
  std::vector<std::string> files;
  std::string kind = "ld";
  uint32_t group = 1;
  bool json = false;
  bool local = false;  // the default, for those who say so everywhere
  std::string labels;
  ChoiceOptions choice;
};

// What stands in front of the entries asked for is shown of a broken file, too.
int ShowFile(const std::string& path, const Wishes& wishes, DumpWishes dump, TextOut& out,
             Progress& progress, std::vector<ShownFile>& shown) {
  dump.path = path;
  ShowWriter writer(path, wishes.kind, wishes.group);
  if (dump.key) writer.AskForKey();
  DumpCount count;
  const DumpEnd end =
      DumpFile(dump, writer, out, progress, PslReader::Reports::kPrinted, nullptr, &count);
  progress.Clear();
  if (writer.refused() || end == DumpEnd::kRefused) return kFailed;
  int status = end == DumpEnd::kDone ? kDone : end == DumpEnd::kBroken ? kFailed : kUnusable;
  if (!writer.file().rows.empty()) {
    shown.push_back(writer.file());
  } else if (status == kDone) {
    // Of the time there is nothing, or none of the resource.
    if (count.records == 0) {
      static_cast<void>(HasWhatWasAsked(path, wishes.choice, dump, count) &&
                        Fail(path, "holds no statistics records"));
    } else {
      static_cast<void>(Fail(
          path, fmt::format("no record{} holds {}{}", dump.from || dump.to ? " of the time" : "",
                            wishes.kind, dump.key ? " " + *dump.key : "")));
    }
    status = kFailed;
  }
  return status;
}

int Show(const Wishes& wishes) {
  DumpWishes dump;
  ChoiceOptions choice = wishes.choice;
  choice.kinds = {wishes.kind};
  Labels labels;
  if (!TakeChoice("show", choice, dump) || !labels.Read(wishes.labels)) return kRefused;
  TextOut out(stdout);
  Progress progress;
  const ShowView view = {wishes.kind, wishes.group, choice.zone(), labels};
  int status = kDone;
  std::vector<ShownFile> shown;
  for (const std::string& path : wishes.files) {
    status = std::max(status, ShowFile(path, wishes, dump, out, progress, shown));
    if (wishes.json) continue;
    for (const ShownFile& file : shown) PrintShown(view, file, out);
    shown.clear();
    if (out.failed()) break;
  }
  if (wishes.json) PrintShownJson(view, shown, out);
  if (out.Flush()) return status;
  static_cast<void>(Fail("standard output", "cannot be written"));
  return kUnusable;
}

}  // namespace

void AddShowCommand(CLI::App& app, int& status) {
  auto wishes = std::make_shared<Wishes>();
  CLI::App* command = app.add_subcommand("show", "Show the history of one resource as a table");
  command->footer(
      "A bar of # shows the mean rate of the period, a | behind it the highest rate in it; of "
      "kinds\n"
      "that count nothing the busy ratio. Without --key it is the first resource of the kind.\n\n"
      "Exit status: 0 done, 1 a file is broken or does not hold what is asked for, 2 a file could\n"
      "not be read or the command line is wrong.\n\n"
      "Examples:\n"
      "  psltool show archive/20240304array01.psa --kind ld --key 21\n"
      "  psltool show archive/20240304array01.psa --key 21 --from \"2024-03-04 08:00\" --json\n"
      "  psltool show archive/202403array01.psa --kind pd --key 1.4 --group 2");
  std::vector<std::string> words;
  for (const KindName& name : KindNames()) {
    if (name.kind < kSectionKinds) words.emplace_back(name.word);
  }
  words.emplace_back(WordOfKind(kWaittm));
  AddFilesOption(*command, wishes->files);
  command->add_option("-k,--kind", wishes->kind, "Kind of the resource (default ld)")
      ->check(CLI::IsMember(words));
  command->add_option("--key", wishes->choice.key,
                      "Its key: a number, or key bytes with points between (default: the first)");
  command->add_option("-g,--group", wishes->group, "Counter group, from 1 (default 1)");
  AddSpanOptions(*command, wishes->choice);
  command->add_flag("--local", wishes->local, "Times in local time, as without it")
      ->excludes(command->get_option("--utc"));
  command->add_flag("--json", wishes->json, "A JSON text for programs");
  AddLabelsOption(*command, wishes->labels);
  command->callback([wishes, &status] { status = Show(*wishes); });
}
