// Command line and table of `psltool show`: see the header.
#include "tools/cmd_show.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "tools/kind_names.h"
#include "tools/psl_reader.h"
#include "tools/report.h"
#include "tools/show_history.h"

namespace {

constexpr size_t kBarWidth = 40;

struct Wishes {
  std::vector<std::string> files;
  std::string kind = "ld";
  std::string key = "0";
  uint32_t group = 1;
  bool local = false;
};

std::string TimeText(uint32_t stamp, bool local) {
  const auto time = static_cast<time_t>(stamp);
  struct tm parts {};
  if ((local ? localtime_r(&time, &parts) : gmtime_r(&time, &parts)) == nullptr) return "?";
  return fmt::format("{:%Y-%m-%d %H:%M:%S}", parts);
}

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

void PrintTable(const std::vector<Period>& periods, bool local) {
  bool has_peak = false;
  bool has_usage = false;
  double full = 0;
  for (const Period& period : periods) {
    has_peak = has_peak || period.peak.has_value();
    has_usage = has_usage || period.usage.has_value();
    full = std::max({full, RateOf(period), period.peak.value_or(0)});
  }
  fmt::print("{:<19} {:>6} {:>9} ", local ? "last record (local)" : "last record (UTC)", "min",
             "ops/s");
  if (has_peak) fmt::print("{:>9} ", "peak/s");
  fmt::print("{:>9} {:>9} ", "mean", "max");
  if (has_usage) fmt::print("{:>6} ", "busy %");
  fmt::print("\n");
  for (const Period& period : periods) {
    fmt::print("{:<19} {:>6.1f} ", TimeText(period.stamp, local), period.length / 60000.0);
    if (period.length == 0) {
      fmt::print("{:>9}\n", "no data");
      continue;
    }
    fmt::print("{:>9.1f} ", RateOf(period));
    if (has_peak) {
      fmt::print("{:>9} ", period.peak ? fmt::format("{:.1f}", *period.peak) : "-");
    }
    fmt::print("{:>9} {:>9} ", period.first, period.largest);
    if (has_usage) fmt::print("{:>6.2f} ", period.usage.value_or(0));
    const std::string bar = Bar(RateOf(period), period.peak.value_or(0), full);
    fmt::print(" {}\n", bar);
  }
}

bool ShowFile(const std::string& path, const Wishes& wishes, Kind kind) {
  PslReader reader(path);
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
  if (!ReadHistory(reader, kind, *key, wishes.group - 1, periods)) return false;
  if (periods.empty()) {
    return Fail(path, fmt::format("no record holds {} {}", wishes.kind, wishes.key));
  }
  const char* const level = header.level == 'L'   ? "log"
                            : header.level == 'H' ? "hour archive"
                                                  : "day archive";
  fmt::print("{}: {}, revision 0x{:02X}, {} {}, counter group {} of {}\n", path, level,
             header.revision, wishes.kind, wishes.key, wishes.group, groups);
  PrintTable(periods, wishes.local);
  return true;
}

}  // namespace

void AddShowCommand(CLI::App& app, int& status) {
  auto wishes = std::make_shared<Wishes>();
  CLI::App* command = app.add_subcommand("show", "Show the history of one resource as a table");
  command->footer(
      "A bar of # shows the mean rate of the period, a | behind it the highest rate in it.\n\n"
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
  command->add_flag("--local", wishes->local, "Times in local time instead of UTC");
  command->callback([wishes, &status] {
    status = kDone;
    for (const std::string& file : wishes->files) {
      if (!ShowFile(file, *wishes, *KindOf(wishes->kind))) status = kFailed;
    }
  });
}
