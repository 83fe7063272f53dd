// Command line of `psltool health`.
#include "tools/commands/commands.h"

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <string>

#include "platform/prefix.h"
#include "tools/commands/files_option.h"
#include "tools/output/json.h"
#include "tools/output/record_file.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"
#include "tools/reading/clock.h"
#include "tools/reading/time_text.h"
#include "tools/running/health.h"
#include "tools/running/health_metrics.h"

namespace psltool {

namespace {

struct HealthOptions {
  int segment = -1;
  std::string root;
  std::string archive;
  std::string prefix = kInstallPrefix;
  std::string now;
  int max_age = 26;  // hours
  int max_run = 6;   // hours
  int days = 7;
  std::string out;
  bool json = false;
  bool openmetrics = false;
  bool utc = false;
};

bool ReadConfiguration(const HealthOptions& options, SegmentConfig& config) {
  if (options.segment >= 0) {
    const std::string what = fmt::format("segment {}", options.segment);
    std::vector<char> bytes;
    if (!ReadSharedSegment(options.segment, bytes)) return FailSegment(options.segment, errno);
    const SegmentView view = DecodeSegment(bytes);
    if (!view.faults.empty()) return Fail(what, view.faults.front());
    config = view.config;
    return true;
  }
  config.root = options.root;
  config.archive = options.archive;
  return !config.root.empty() && !config.archive.empty()
             ? true
             : Fail("health", "--segment, or --root and --archive, is needed");
}

bool Prepare(const HealthOptions& options, HealthRequest& request) {
  if (!ReadConfiguration(options, request.config)) return false;
  request.prefix = options.prefix.ends_with('/') ? options.prefix : options.prefix + '/';
  request.now = Now();
  if (!options.now.empty()) {
    const TimeReading now = ReadTime(options.now, request.now, Zone::kLocal);
    if (!now.span) return Fail("health --now", now.why);
    request.now = now.span->first;
  }
  request.max_age = int64_t{3600} * options.max_age;
  request.max_run = int64_t{3600} * options.max_run;
  request.days = options.days;
  request.zone = options.utc ? Zone::kUtc : Zone::kLocal;
  return true;
}

void PrintJson(TextOut& out, const HealthRequest& request, const Health& health, bool healthy) {
  Json json = {{"healthy", healthy}, {"now", TimeWithZone(request.now, request.zone)}};
  if (health.last_run) {
    json["last_run"] = {{"start", TimeWithZone(health.last_run->start, request.zone)},
                        {"age_seconds", request.now - health.last_run->start},
                        {"process", health.last_run->pid},
                        {"ended_well", health.last_run->ended_well}};
  } else {
    json["last_run"] = nullptr;
  }
  json["running"] = health.running ? Json(*health.running) : nullptr;
  json["findings"] = Json::Array();
  for (const HealthFinding& finding : health.findings) {
    json["findings"].Append(
        {{"problem", finding.problem}, {"kind", WordOf(finding.kind)}, {"text", finding.text}});
  }
  PutJson(json, out);
}

void PrintText(TextOut& out, const HealthRequest& request, const Health& health, bool healthy) {
  const std::string last = health.last_run
                               ? fmt::format("last run {} ({} h ago)",
                                             TimeWithZone(health.last_run->start, request.zone),
                                             (request.now - health.last_run->start) / 3600)
                               : "no run is known";
  PrintLine(out, "archiving is {}: {}", healthy ? "healthy" : "NOT healthy", last);
  for (const HealthFinding& finding : health.findings) {
    PrintLine(out, "{:<7} {:<8} {}", finding.problem ? "PROBLEM" : "note", WordOf(finding.kind),
              finding.text);
  }
}

int Report(const HealthOptions& options) {
  HealthRequest request{};
  Health health;
  if (!MayWrite("health -o", options.out, {})) return kExitRefused;
  if (!Prepare(options, request)) return kExitUnusable;
  if (!LookAtRuns(request, health) || !LookAtFiles(request, health)) return kExitUnusable;
  const bool healthy = std::none_of(health.findings.begin(), health.findings.end(),
                                    [](const HealthFinding& finding) { return finding.problem; });
  const auto print = [&](TextOut& out) {
    if (options.openmetrics) {
      PutHealthMetrics(out, health, healthy);
    } else if (options.json) {
      PrintJson(out, request, health, healthy);
    } else {
      PrintText(out, request, health, healthy);
    }
  };
  if (!PrintTo(options.out, print)) return kExitUnusable;
  return healthy ? kExitDone : kExitFailed;
}

}  // namespace

const char* WordOf(HealthKind kind) {
  constexpr const char* kWords[] = {"run",     "failure", "broken",  "leftover",
                                    "missing", "nodata",  "skipped", "path"};
  return kWords[static_cast<size_t>(kind)];
}

void AddHealthCommand(Command& command, int& status) {
  HealthOptions& options = command.Runs<HealthOptions>(Report, status);
  auto* segment = command.AddOption("--segment", options.segment,
                                    "Number of the configuration segment of the runs");
  segment->Must(kNotNegative);
  auto* root = command.AddOption("--root", options.root, "Root directory, without a segment")
                   ->StandsFor(Stands::kDirectory);
  auto* archive =
      command.AddOption("--archive", options.archive, "Archive directory, without a segment")
          ->StandsFor(Stands::kDirectory);
  root->Excludes(segment);
  archive->Excludes(segment);
  command
      .AddOption("--prefix", options.prefix,
                 fmt::format("Installation prefix, above etc/log and etc/trace (default {})",
                             kInstallPrefix))
      ->StandsFor(Stands::kDirectory);
  command
      .AddOption("--max-age", options.max_age,
                 "Hours since the last run that are still well (default 26)")
      ->Must(Between(1, 100000));
  command.AddOption("--max-run", options.max_run, "Hours that a run may take (default 6)")
      ->Must(Between(1, 100000));
  command
      .AddOption("--days", options.days,
                 "How many days back a day without any data is a problem (default 7)")
      ->Must(Between(0, 3660));
  command.AddOption("--now", options.now, "Judge as of this local time, like \"2024-03-04 06:00\"")
      ->StandsFor(Stands::kTime);
  command.AddFlag("--utc", options.utc, "Print times in UTC instead of local time");
  auto* json = command.AddFlag("--json", options.json, "As JSON");
  command
      .AddFlag("--openmetrics", options.openmetrics,
               "As metrics, for the textfile collector of a node exporter")
      ->Excludes(json);
  command.AddOption("-o,--out", options.out, "File to write (default: standard output)");
}

}  // namespace psltool
