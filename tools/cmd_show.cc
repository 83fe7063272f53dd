// Command line and table of `psltool show`: see the header.
#include "tools/cmd_show.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "tools/kind_names.h"
#include "tools/psl_reader.h"
#include "tools/report.h"
#include "tools/show_history.h"
#include "tools/text_out.h"
#include "tools/time_text.h"

namespace {

constexpr size_t kBarWidth = 40;

struct Wishes {
  std::vector<std::string> files;
  std::string kind = "ld";
  std::string key = "0";
  uint32_t group = 1;
  bool local = false;
  bool utc = false;  // the default, for those who say so everywhere
};

double RateOf(const Period& period) {
  return period.length == 0 ? 0 : period.operations * 1000.0 / period.length;
}

// A bar of '#' up to `value` and a '|' at `mark`, when that is more.
std::string Bar(double value, double mark, double full) {
  if (!(full > 0)) return "";
  const auto cells = [full](double part) {
    return static_cast<size_t>(std::lround(std::clamp(part / full, 0.0, 1.0) * kBarWidth));
  };
  std::string bar(cells(value), '#');
  const size_t at = cells(mark);
  if (at > bar.size()) {
    bar.resize(at - 1, ' ');
    bar += '|';
  }
  return bar;
}

void PrintTable(TextOut& out, const std::vector<Period>& periods, Zone zone) {
  bool has_peak = false;
  bool has_usage = false;
  double full = 0;
  for (const Period& period : periods) {
    has_peak = has_peak || period.peak.has_value();
    has_usage = has_usage || period.usage.has_value();
    full = std::max({full, RateOf(period), period.peak.value_or(0)});
  }
  out.Print("{:<19} {:>6} {:>9} ",
            zone == Zone::kLocal ? "last record (local)" : "last record (UTC)", "min", "ops/s");
  if (has_peak) out.Print("{:>9} ", "peak/s");
  out.Print("{:>9} {:>9} ", "mean", "max");
  if (has_usage) out.Print("{:>6} ", "busy %");
  out.Print("\n");
  for (const Period& period : periods) {
    out.Print("{:<19} {:>6.1f} ", TimeText(period.stamp, zone), period.length / 60000.0);
    if (period.length == 0) {
      out.Print("{:>9}\n", "no data");
      continue;
    }
    out.Print("{:>9.1f} ", RateOf(period));
    if (has_peak) {
      out.Print("{:>9} ", period.peak ? fmt::format("{:.1f}", *period.peak) : "-");
    }
    out.Print("{:>9} {:>9} ", period.first, period.largest);
    if (has_usage) out.Print("{:>6.2f} ", period.usage.value_or(0));
    const std::string bar = Bar(RateOf(period), period.peak.value_or(0), full);
    out.Print(" {}\n", bar);
  }
}

bool ShowReader(PslReader& reader, const Wishes& wishes, TextOut& out, Progress& progress) {
  const std::string& path = reader.path();
  const Kind kind = *KindOf(wishes.kind);
  if (!reader.Open()) return false;
  const PslHeader& header = reader.header();
  const SectionRow* row = SectionOf(LayoutOf(header.revision), kind);
  if (row == nullptr) {
    return Fail(path, fmt::format("files of revision 0x{:02X} hold no {}", header.revision,
                                  NameOf(kind).title));
  }
  const Form& form = kForms[row->form];
  const auto key = ParseKey(form.key, wishes.key);
  if (!key) {
    return Fail(path, fmt::format("'{}' is not a key of {}", wishes.key, NameOf(kind).title));
  }
  const uint32_t groups = form.quadsets;
  if (wishes.group < 1 || wishes.group > std::max(groups, 1U)) {
    return Fail(path,
                fmt::format("entries of {} have {} counter groups", NameOf(kind).title, groups));
  }
  std::vector<Period> periods;
  if (!ReadHistory(reader, kind, *key, wishes.group - 1, periods, &progress)) return false;
  progress.Clear();
  if (periods.empty()) {
    return Fail(path, fmt::format("no record holds {} {}", wishes.kind, wishes.key));
  }
  const char* const level = header.level == 'L'   ? "log"
                            : header.level == 'H' ? "hour archive"
                                                  : "day archive";
  out.Print("{}: {}, revision 0x{:02X}, {} {}, counter group {} of {}\n", path, level,
            header.revision, wishes.kind, wishes.key, wishes.group, groups);
  PrintTable(out, periods, wishes.local ? Zone::kLocal : Zone::kUtc);
  return true;
}

int Show(const Wishes& wishes) {
  TextOut out(stdout);
  Progress progress;
  int status = kDone;
  for (const std::string& file : wishes.files) {
    PslReader reader(file);
    const bool shown = ShowReader(reader, wishes, out, progress);
    progress.Clear();
    if (out.failed()) break;
    if (shown) continue;
    const bool unreadable = reader.failed() && reader.trouble().severity == Severity::kUnreadable;
    status = std::max(status, unreadable ? kUnusable : kFailed);
  }
  if (out.Flush()) return status;
  static_cast<void>(Fail("standard output", "cannot be written"));
  return kUnusable;
}

}  // namespace

void AddShowCommand(CLI::App& app, int& status) {
  auto wishes = std::make_shared<Wishes>();
  CLI::App* command = app.add_subcommand("show", "Show the history of one resource as a table");
  command->footer(
      "A bar of # shows the mean rate of the period, a | behind it the highest rate in it.\n\n"
      "Exit status: 0 done, 1 a file is broken or does not hold what is asked for, 2 a file could\n"
      "not be read or the command line is wrong.\n\n"
      "Examples:\n"
      "  psltool show archive/20240304array01.psa --kind ld --key 21\n"
      "  psltool show archive/202403array01.psa --kind pd --key 1.4 --group 2");
  std::vector<std::string> words;
  for (const KindName& name : KindNames()) {
    if (name.kind < kSectionKinds) words.emplace_back(name.word);
  }
  command->add_option("files", wishes->files, "Logs or archives")->required();
  command->add_option("-k,--kind", wishes->kind, "Kind of the resource (default ld)")
      ->check(CLI::IsMember(words));
  command->add_option("--key", wishes->key,
                      "Its key: a number, or key bytes with points between (default 0)");
  command->add_option("-g,--group", wishes->group, "Counter group, from 1 (default 1)");
  auto* local = command->add_flag("--local", wishes->local, "Times in local time instead of UTC");
  command->add_flag("--utc", wishes->utc, "Times in UTC, as without it")->excludes(local);
  command->callback([wishes, &status] { status = Show(*wishes); });
}
