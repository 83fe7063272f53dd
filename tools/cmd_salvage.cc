// Command line and report of `psltool salvage`: see the header.
#include "tools/cmd_salvage.h"

#include <memory>
#include <string>

#include "tools/report.h"
#include "tools/salvage.h"
#include "tools/text_out.h"

namespace {

constexpr int kNothingSaved = 1;
constexpr int kTrouble = 2;

void Print(TextOut& out, const SalvageWishes& wishes, const SalvageReport& report) {
  uint64_t records = 0;
  std::string tags;
  for (const auto& [tag, count] : report.kept) {
    records += count;
    tags += fmt::format("{}{} {}", tags.empty() ? "" : ", ", count, tag);
  }
  out.Print("{}\n  kept     {} records ({}), {} of {} bytes\n", wishes.good, records, tags,
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
              wishes.keep_suspect ? "kept" : "left out", record.why);
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

int Run(const SalvageWishes& wishes) {
  Progress progress;
  SalvageReport report;
  const SalvageEnd end = Salvage(wishes, progress, report);
  progress.Clear();
  if (end != SalvageEnd::kWritten) {
    if (report.trouble) {
      const std::string why = Describe(*report.trouble);
      static_cast<void>(
          Fail(wishes.broken, end == SalvageEnd::kNothing ? "nothing can be saved: " + why : why));
    }
    return end == SalvageEnd::kNothing ? kNothingSaved : kTrouble;
  }
  TextOut out(stdout);
  Print(out, wishes, report);
  if (out.Flush()) return 0;
  static_cast<void>(Fail("standard output", "cannot be written"));
  return kTrouble;
}

}  // namespace

void AddSalvageCommand(CLI::App& app, int& status) {
  auto wishes = std::make_shared<SalvageWishes>();
  CLI::App* command =
      app.add_subcommand("salvage", "Copy the sound records of a damaged file into a new one");
  command->footer(
      "Without --resync the copy ends in front of the first record that the archiver would not\n"
      "take. With it, later records that are sound are looked for and copied as well; statistics\n"
      "behind a broken structure record are left out up to the next sound one, unless --structure\n"
      "names a file of another day of the same array to take it from (this includes --resync).\n"
      "A record that is followed by bytes that are no record is suspect: where bytes were lost or\n"
      "put in, its content is shifted though its length still fits. It is told, and left out.\n\n"
      "Exit status: 0 the new file is written, 1 nothing could be saved (no file is written), 2 a\n"
      "file could not be read or written or the command line is wrong.\n\n"
      "Examples:\n"
      "  psltool salvage 20240304array01.psl -o saved/20240304array01.psl\n"
      "  psltool salvage --resync 20240304array01.psl -o saved/20240304array01.psl\n"
      "  psltool salvage --structure 20240303array01.psl 20240304array01.psl -o saved.psl");
  command->add_option("broken", wishes->broken, "The damaged log or archive")->required();
  command->add_option("-o,--out", wishes->good, "The new file")->required();
  command->add_flag("--resync", wishes->resync, "Look for sound records behind what is broken");
  command->add_flag("--keep-suspect", wishes->keep_suspect,
                    "Copy suspect records, too; they are told all the same");
  command->add_option("--structure", wishes->structure,
                      "A sound file of another day: its structure record stands in for one that "
                      "is lost");
  command->add_flag("--force", wishes->force, "Replace the new file if it exists");
  command->callback([wishes, &status] { status = Run(*wishes); });
}
