// Command line of `psltool export`: see the header.
#include "tools/cmd_export.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/dump_options.h"
#include "tools/export_file.h"
#include "tools/report.h"

namespace {

struct Wishes {
  std::vector<std::string> files;
  std::vector<std::string> to;  // a form or the last time: words and times cannot be mixed up
  std::string form;
  std::string out;
  std::string array;
  ChoiceOptions choice;
};

// A failure that leaves a text file as it was.
constexpr int kNothing = -1;

constexpr const char* kForms[] = {"csv", "ndjson", "sqlite", "openmetrics"};

bool IsForm(const std::string& text) {
  return std::find(std::begin(kForms), std::end(kForms), text) != std::end(kForms);
}

// Sorts out what stands behind --to.
bool TakeForm(Wishes& wishes) {
  for (const std::string& text : wishes.to) {
    std::string& place = IsForm(text) ? wishes.form : wishes.choice.to;
    if (!place.empty() && place != text) {
      return Fail("export --to", fmt::format("'{}' and '{}' exclude each other", place, text));
    }
    place = text;
  }
  return !wishes.form.empty() ||
         Fail("export", "--to csv, ndjson, sqlite or openmetrics is needed");
}

// In a database the rows of a file go by its name, so that two of a name would replace each other.
bool NamesDiffer(const std::vector<std::string>& files) {
  std::map<std::string, std::string> seen;
  for (const std::string& path : files) {
    const auto [other, is_new] = seen.emplace(path.substr(path.rfind('/') + 1), path);
    if (!is_new) {
      return Fail(path, "has the name of " + other->second +
                            ", and rows in a database go by names of files");
    }
  }
  return true;
}

// "-o archive/*.psa" would make an output of the first archive.
bool IsOutput(const Wishes& wishes) {
  std::error_code error;
  const bool log = wishes.out.ends_with(".psl") || wishes.out.ends_with(".psa");
  const bool input = std::any_of(wishes.files.begin(), wishes.files.end(), [&](const auto& file) {
    return !wishes.out.empty() && std::filesystem::equivalent(file, wishes.out, error);
  });
  return (!log && !input) ||
         Fail("export -o", wishes.out + " is a log or archive, which is never overwritten");
}

// Beside the output there is room for much; without one where the system keeps such files.
std::string ScratchOf(const Wishes& wishes) {
  if (!wishes.out.empty()) return DirectoryOf(wishes.out);
  const char* const directory = std::getenv("TMPDIR");
  return directory != nullptr && *directory != '\0' ? directory : "/tmp";
}

std::unique_ptr<ExportSink> MakeSink(const Wishes& wishes, TextOut* out) {
  if (wishes.form == "sqlite") return MakeSqliteSink(wishes.out);
  if (wishes.form == "openmetrics") return MakeOpenMetricsSink(*out, ScratchOf(wishes));
  return wishes.form == "csv" ? MakeCsvSink(*out, wishes.choice.zone())
                              : MakeJsonLinesSink(*out, wishes.choice.zone());
}

// Puts all files. The status is that of the worst; nothing: the output failed.
std::optional<int> PutFiles(const Wishes& wishes, ExportWishes& what, ExportSink& sink) {
  // Rows that run over the terminal show by themselves how far it is.
  Progress progress(!wishes.out.empty() || isatty(STDOUT_FILENO) == 0);
  Exporter exporter(what, sink, progress);
  int status = kDone;
  bool any = false;
  for (const std::string& path : wishes.files) {
    const DumpEnd end = exporter.Take(path);
    progress.Clear();
    if (exporter.failed()) return std::nullopt;
    any = any || end == DumpEnd::kDone || end == DumpEnd::kBroken;
    if (end == DumpEnd::kDone) continue;
    status = std::max(status, end == DumpEnd::kBroken ? kFailed : kUnusable);
  }
  if (status == kDone && !HasWhatWasAsked("export", wishes.choice, what.dump, exporter.count())) {
    status = kNothing;
  }
  // Of nothing no file is made; a reader of standard output has seen the head already.
  const bool finish = any && (status != kNothing || wishes.out.empty());
  if (finish && !sink.Finish()) return std::nullopt;
  return status;
}

int Export(Wishes& wishes) {
  if (!TakeForm(wishes)) return kRefused;
  ExportWishes what;
  what.array = wishes.array;
  if (!TakeChoice("export", wishes.choice, what.dump) || !IsOutput(wishes)) return kRefused;
  const bool database = wishes.form == "sqlite";
  if (database && wishes.out.empty()) {
    static_cast<void>(Fail("export --to sqlite", "needs -o with the database's path"));
    return kRefused;
  }
  if (database && !NamesDiffer(wishes.files)) return kRefused;
  // Text goes to standard output, or into a file that is renamed when it is whole.
  std::optional<RecordFile> part;
  if (!database && !wishes.out.empty() && !part.emplace(wishes.out).Create()) return kUnusable;
  std::optional<TextOut> out;
  if (part) {
    out.emplace(*part);
  } else {
    out.emplace(stdout);
  }
  const std::unique_ptr<ExportSink> sink = MakeSink(wishes, &*out);
  if (sink == nullptr) return kUnusable;
  const std::optional<int> status = PutFiles(wishes, what, *sink);
  if (status && out->Flush()) {
    if (*status == kNothing) return kFailed;
    // What lacks a file is no export of all of them.
    if (!part || *status == kUnusable) return *status;
    return part->FinishDurably() ? *status : kUnusable;
  }
  // The part file and the database tell by themselves.
  if (!part && out->failed()) static_cast<void>(Fail("standard output", "cannot be written"));
  return kUnusable;
}

}  // namespace

void AddExportCommand(CLI::App& app, int& status) {
  auto wishes = std::make_shared<Wishes>();
  CLI::App* command =
      app.add_subcommand("export", "Rows for spreadsheets, databases and time-series engines");
  command->footer(
      "One row per value: time, array, kind, key, metric, statistic, value, unit, level. Values "
      "are\n"
      "those of `dump`; what an entry does not say has no row. Into a database (sqlite) a file "
      "can\n"
      "be exported again: its rows are replaced. OpenMetrics text is sorted by way of a temporary\n"
      "file beside OUT, without -o in $TMPDIR or /tmp. A text file OUT is written only when all\n"
      "files could be read and something was found.\n\n"
      "Exit status: 0 done, 1 a file is broken (what stands in front of the place is exported), "
      "or\n"
      "no file has a record of the time or of the key, 2 a file could not be read or written or "
      "the command line is wrong.\n\n"
      "Examples:\n"
      "  psltool export --to csv 20240304array01.psl --kind ld --key 21 > ld21.csv\n"
      "  psltool export --to sqlite -o history.db archive/*.psa\n"
      "  psltool export --to ndjson --from 2024-03-04 --to 2024-03-05 logs/*.psl | gzip > two.gz\n"
      "  psltool export --to openmetrics -o history.om archive/*.psa");
  command->add_option("files", wishes->files, "Logs or archives")->required();
  command
      ->add_option("--to", wishes->to,
                   "Form: csv, ndjson, sqlite or openmetrics. Besides, given once more, the last "
                   "time, the day or minute as a whole")
      ->required()
      ->allow_extra_args(false);
  command->add_option("-o,--out", wishes->out,
                      "File to write (default: standard output; a database needs it)");
  command->add_option("--array", wishes->array,
                      "Name of the array of files whose names do not tell it");
  AddChoiceOptions(*command, wishes->choice, false);
  command->callback([wishes, &status] { status = Export(*wishes); });
}
