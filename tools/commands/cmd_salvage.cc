// Command line and report of `psltool salvage`.
#include "tools/commands/commands.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "tools/checking/salvage.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"
#include "tools/reading/input_files.h"

namespace psltool {

namespace {

void Print(TextOut& out, const SalvageRequest& options, const SalvageReport& report) {
  uint64_t records = 0;
  std::string tags;
  for (const auto& [tag, count] : report.kept) {
    records += count;
    tags += fmt::format("{}{} {}", tags.empty() ? "" : ", ", count, tag);
  }
  out.Print("{}\n  kept     {} records ({}), {} of {} bytes\n", options.good, records, tags,
            report.kept_bytes, report.size);
  for (const std::string& field : report.mended) out.Print("  mended   {}\n", field);
  if (report.structures_taken != 0) {
    out.Print(
        "  borrowed structure record of {}{}\n", report.structure,
        report.structures_taken == 1 ? "" : fmt::format(", {} times", report.structures_taken));
  }
  for (const SuspectRecord& record : report.suspect) {
    out.Print("  suspect  record {} ({}), {} bytes from offset {} on, {}: {}\n", record.number,
              record.tag, record.to - record.from, record.from,
              options.keep_suspect ? "kept" : "left out", record.why);
  }
  for (const DroppedPart& part : report.dropped) {
    out.Print("  dropped  {} bytes from offset {} on: {}\n", part.to - part.from, part.from,
              part.reason);
  }
  if (report.dropped_parts > report.dropped.size()) {
    out.Print("  dropped  {} more parts; {} bytes in all\n",
              report.dropped_parts - report.dropped.size(), report.dropped_bytes);
  }
  if (report.dropped_parts == 0) out.Put("  dropped  nothing\n");
}

int Run(const SalvageRequest& options) {
  Progress progress;
  SalvageReport report;
  const SalvageEnd end = Salvage(options, progress, report);
  progress.Clear();
  if (end != SalvageEnd::kWritten) {
    if (report.trouble) {
      const std::string why = Describe(*report.trouble);
      Fail(options.broken, end == SalvageEnd::kNothing ? "nothing can be saved: " + why : why);
    }
    return end == SalvageEnd::kNothing ? kExitFailed : kExitUnusable;
  }
  TextOut out(stdout);
  Print(out, options, report);
  return out.FlushOrFail() ? kExitDone : kExitUnusable;
}

// A directory: each of its files into the new directory, under its own name.
int RunAll(const SalvageRequest& options) {
  std::error_code error;
  if (!std::filesystem::is_directory(options.broken, error)) return Run(options);
  std::vector<std::string> files;
  if (!CollectFiles({options.broken}, files)) return kExitUnusable;
  if (!std::filesystem::is_directory(options.good, error)) {
    return FailWith(kExitUnusable, options.good,
                    "is no directory; of a directory only one is made");
  }
  int status = 0;
  std::set<std::string> names;
  for (const std::string& file : files) {
    SalvageRequest one = options;
    one.broken = file;
    one.good =
        (std::filesystem::path(options.good) / std::filesystem::path(file).filename()).string();
    if (!names.insert(one.good).second) {
      Fail(file, "another file of this name is there already");
      status = kExitUnusable;
      continue;
    }
    status = std::max(status, Run(one));
  }
  return status;
}

}  // namespace

void AddSalvageCommand(Command& command, int& status) {
  SalvageRequest& options = command.Runs<SalvageRequest>(RunAll, status);
  command.AddOption("broken", options.broken, "The damaged log or archive, or a directory of them")
      ->Required()
      ->StandsFor(Stands::kInput);
  command
      .AddOption("-o,--out", options.good,
                 "The new file; of a directory, a directory that is there")
      ->Required();
  command.AddFlag("--resync", options.resync, "Look for sound records behind what is broken");
  command.AddFlag("--keep-suspect", options.keep_suspect,
                  "Copy suspect records, too; they are told all the same");
  command
      .AddOption("--structure", options.structure,
                 "A sound file of another day: its structure record stands in for one that "
                 "is lost")
      ->StandsFor(Stands::kInput);
  command.AddFlag("--force", options.force, "Replace the new file if it exists");
}

}  // namespace psltool
