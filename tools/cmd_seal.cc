// Command line and report of `psltool seal`: see the header.
#include "tools/cmd_seal.h"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/report.h"
#include "tools/seal.h"
#include "tools/sums_file.h"
#include "tools/text_out.h"

namespace {

struct Wishes {
  SealWishes seal;
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
      return entry.name.ends_with(".psa")
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
  out.Print("{} kept, {} added, {} renewed, {} forgotten, {} finding{}",
            Count(report, SealState::kKept), Count(report, SealState::kAdded),
            Count(report, SealState::kRenewed), Count(report, SealState::kForgotten), findings,
            findings == 1 ? "" : "s");
  const size_t unread = Count(report, SealState::kUnread);
  if (unread != 0) out.Print("; {} not looked at", unread);
  out.Put("\n");
}

void PrintJson(TextOut& out, const SealReport& report) {
  nlohmann::ordered_json files = nlohmann::ordered_json::array();
  for (const SealEntry& entry : report.entries) {
    files.push_back({{"name", entry.name},
                     {"state", WordOf(entry.state)},
                     {"finding", IsFinding(entry.state)},
                     {"text", TextOf(entry)}});
  }
  const nlohmann::ordered_json json = {{"files", std::move(files)}, {"written", report.written}};
  // Names of files are bytes, JSON is UTF-8.
  out.Put(json.dump(2, ' ', false, nlohmann::json::error_handler_t::replace));
  out.Put("\n");
}

int Run(const Wishes& wishes) {
  Progress progress;
  SealReport report;
  const bool done = Seal(wishes.seal, progress, report);
  progress.Clear();
  if (!done) return kUnusable;
  TextOut out(stdout);
  if (wishes.json) {
    PrintJson(out, report);
  } else {
    PrintText(out, report);
  }
  if (!out.Flush()) {
    static_cast<void>(Fail("standard output", "cannot be written"));
    return kUnusable;
  }
  const bool findings = std::any_of(report.entries.begin(), report.entries.end(),
                                    [](const SealEntry& entry) { return IsFinding(entry.state); });
  return findings ? kFailed : kDone;
}

}  // namespace

void AddSealCommand(CLI::App& app, int& status) {
  auto wishes = std::make_shared<Wishes>();
  CLI::App* command =
      app.add_subcommand("seal", "Keep the digests of a directory's files in SHA256SUMS");
  command->footer(
      "New archives (.psa) and logs (.psl) of days that are over are added when `check` finds no\n"
      "error in them. What is sealed already keeps its line; a digest that differs is a finding, "
      "never sealed anew in passing. The file\n"
      "is that of sha256sum: \"cd DIR && sha256sum -c SHA256SUMS\". `check` looks at it, too.\n\n"
      "Exit status: 0 done, 1 findings (a sealed file differs or is gone, a new archive is "
      "broken;\n"
      "the rest is sealed), 2 something could not be read or written or the command line is wrong\n"
      "(SHA256SUMS is as it was).\n\n"
      "Examples:\n"
      "  psltool seal archive\n"
      "  psltool seal archive --forget            nightly, where archives expire\n"
      "  psltool seal archive --renew 20240304array01.psa");
  command->add_option("directory", wishes->seal.directory, "Directory of the archives or logs")
      ->required();
  command->add_option("--renew", wishes->seal.renew,
                      "Files whose present content is meant: their lines are replaced");
  command->add_flag("--forget", wishes->seal.forget, "Drop the lines of files that are gone");
  command->add_flag("--new", wishes->seal.only_new,
                    "Only add new files, do not read the sealed ones");
  command->add_flag("--json", wishes->json, "A JSON text for programs");
  command->callback([wishes, &status] { status = Run(*wishes); });
}
