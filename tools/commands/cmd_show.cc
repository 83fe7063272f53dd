// Command line of `psltool show`: see the header. The entries are those of `dump`, chosen and
// decoded by the same code.
#include "tools/commands/commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tools/commands/dump_options.h"
#include "tools/commands/files_option.h"
#include "tools/output/report.h"
#include "tools/reading/kind_names.h"
#include "tools/showing/show_rows.h"

namespace psltool {

namespace {

struct ShowOptions {
  std::vector<std::string> files;
  std::string kind;  // the one at hand
  uint32_t group = 1;
  bool json = false;
  bool local = false;  // the default, for those who say so everywhere
  std::string labels;
  ChoiceOptions choice;
};

// What stands in front of the entries asked for is shown of a broken file, too.
int ShowFile(const std::string& path, const ShowOptions& options, DumpRequest dump, TextOut& out,
             Progress& progress, std::vector<ShownFile>& shown) {
  dump.path = path;
  ShowWriter writer(path, options.kind, options.group);
  if (dump.key) writer.AskForKey();
  DumpCount count;
  const DumpEnd end =
      DumpFile(dump, writer, out, progress, PslReader::Reports::kPrinted, nullptr, &count);
  progress.Clear();
  if (writer.refused() || end == DumpEnd::kRefused) return kExitFailed;
  int status = StatusOf(end);
  if (!writer.file().rows.empty()) {
    shown.push_back(writer.file());
  } else if (status == kExitDone) {
    // Of the time there is nothing, or none of the resource.
    if (count.records == 0) {
      static_cast<void>(HasWhatWasAsked(path, options.choice, dump, count) &&
                        Fail(path, "holds no statistics records"));
    } else {
      Fail(path, fmt::format("no record{} holds {}{}", dump.from || dump.to ? " of the time" : "",
                             options.kind, dump.key ? " " + *dump.key : ""));
    }
    status = kExitFailed;
  }
  return status;
}

// One kind: its tables, or its object for `all`.
int ShowKind(const ShowOptions& options, const Labels& labels, TextOut& out,
             std::vector<Json>& all) {
  DumpRequest dump;
  ChoiceOptions choice = options.choice;
  choice.kinds = {options.kind};
  if (!TakeChoice("show", choice, dump)) return kExitRefused;
  Progress progress;
  const ShowView view = {options.kind, options.group, choice.zone(), labels};
  int status = kExitDone;
  std::vector<ShownFile> shown;
  for (const std::string& path : options.files) {
    status = std::max(status, ShowFile(path, options, dump, out, progress, shown));
    if (options.json) continue;
    for (const ShownFile& file : shown) PrintShown(view, file, out);
    shown.clear();
    if (out.failed()) break;
  }
  if (options.json) all.push_back(ShownJson(view, shown));
  return status;
}

int Show(ShowOptions& options) {
  Labels labels;
  if (!OneKindForKey("show", options.choice) || !labels.Read(options.labels)) return kExitRefused;
  TextOut out(stdout);
  std::vector<Json> all;
  int status = kExitDone;
  for (const std::string& kind : KindsOr("ld", options.choice)) {
    options.kind = kind;
    status = std::max(status, ShowKind(options, labels, out, all));
  }
  PutJson(std::move(all), out);
  return out.FlushOrFail() ? status : kExitUnusable;
}

}  // namespace

void AddShowCommand(Command& command, int& status) {
  ShowOptions& options = command.Runs<ShowOptions>(Show, status);
  std::vector<std::string> words;
  for (const KindName& name : KindNames()) {
    if (name.kind < kSectionKinds) words.emplace_back(name.word);
  }
  words.emplace_back(WordOfKind(kWaittm));
  AddFilesOption(command, options.files);
  AddKeyOptions(command, options.choice, "ld", words);
  AddGroupOption(command, options.group);
  const Option* utc = AddSpanOptions(command, options.choice);
  command.AddFlag("--local", options.local, "Times in local time, as without it")->Excludes(utc);
  AddJsonFlag(command, options.json);
  AddLabelsOption(command, options.labels);
}

}  // namespace psltool
