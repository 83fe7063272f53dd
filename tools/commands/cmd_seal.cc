// Command line and report of `psltool seal`.
#include "engine/names.h"
#include "tools/commands/commands.h"

#include <algorithm>
#include <string>

#include "tools/checking/seal.h"
#include "tools/checking/sums_file.h"
#include "tools/commands/dump_options.h"
#include "tools/output/json.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"

namespace psltool {

namespace {

struct SealOptions {
  SealRequest seal;
  bool json = false;
};

std::string TextOf(const SealEntry& entry) {
  switch (entry.state) {
    case SealState::kKept:
    case SealState::kUnread:
      return "";
    case SealState::kAdded:
      return "sealed";
    case SealState::kRenewed:
      return "sealed anew";
    case SealState::kForgotten:
      return "gone, its line is dropped";
    case SealState::kEmpty:
      return IsArchiveName(entry.name)
                 ? "empty, the mark of a day that met a broken record: not sealed"
                 : "empty: not sealed";
    case SealState::kChanging:
      return "still being written: not sealed, left to the next time";
    case SealState::kChanged:
      return fmt::format("digest differs from {}{}; --renew accepts a change that is meant",
                         kSumsName, entry.text.empty() ? "" : ", " + entry.text);
    case SealState::kGone:
      return "sealed, but gone; --forget drops its line";
    case SealState::kBroken:
      break;
  }
  return "not sealed: " + entry.text;
}

size_t Count(const SealReport& report, SealState state) {
  return static_cast<size_t>(
      std::count_if(report.entries.begin(), report.entries.end(),
                    [state](const SealEntry& entry) { return entry.state == state; }));
}

void PrintText(TextOut& out, const SealReport& report) {
  for (const SealEntry& entry : report.entries) {
    const std::string text = TextOf(entry);
    if (!text.empty()) {
      out.Print("{}: {}{}\n", entry.name, IsFinding(entry.state) ? "FINDING: " : "", text);
    }
  }
  const size_t findings =
      static_cast<size_t>(std::count_if(report.entries.begin(), report.entries.end(),
                                        [](const SealEntry& e) { return IsFinding(e.state); }));
  out.Print("{} kept, {} added, {} renewed, {} forgotten, {}", Count(report, SealState::kKept),
            Count(report, SealState::kAdded), Count(report, SealState::kRenewed),
            Count(report, SealState::kForgotten), Counted(findings, "finding"));
  const size_t unread = Count(report, SealState::kUnread);
  if (unread != 0) out.Print("; {} not looked at", unread);
  out.Put("\n");
}

void PrintJson(TextOut& out, const SealReport& report) {
  Json files = Json::Array();
  for (const SealEntry& entry : report.entries) {
    files.Append({{"name", entry.name},
                  {"state", WordOf(entry.state)},
                  {"finding", IsFinding(entry.state)},
                  {"text", TextOf(entry)}});
  }
  const Json json = {{"files", std::move(files)}, {"written", report.written}};
  PutJson(json, out);
}

int Run(const SealOptions& options) {
  Progress progress;
  SealReport report;
  const bool done = Seal(options.seal, progress, report);
  progress.Clear();
  if (!done) return kExitUnusable;
  TextOut out(stdout);
  if (options.json) {
    PrintJson(out, report);
  } else {
    PrintText(out, report);
  }
  if (!out.FlushOrFail()) return kExitUnusable;
  const bool findings = std::any_of(report.entries.begin(), report.entries.end(),
                                    [](const SealEntry& entry) { return IsFinding(entry.state); });
  return findings ? kExitFailed : kExitDone;
}

}  // namespace

void AddSealCommand(Command& command, int& status) {
  SealOptions& options = command.Runs<SealOptions>(Run, status);
  command.AddOption("directory", options.seal.directory, "Directory of the archives or logs")
      ->Required()
      ->StandsFor(Stands::kDirectory);
  command
      .AddOption("--renew", options.seal.renew,
                 "Files whose present content is meant: their lines are replaced")
      ->StandsFor(Stands::kInput);
  command.AddFlag("--forget", options.seal.forget, "Drop the lines of files that are gone");
  command.AddFlag("--new", options.seal.only_new,
                  "Only add new files, do not read the sealed ones");
  AddJsonFlag(command, options.json);
}

}  // namespace psltool
