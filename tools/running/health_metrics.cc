// What `psltool health` finds, as metrics: see the header.
#include "tools/running/health_metrics.h"

#include <algorithm>

namespace psltool {

namespace {

constexpr HealthKind kHealthKinds[] = {
    HealthKind::kRun,     HealthKind::kFailure, HealthKind::kBroken, HealthKind::kLeftover,
    HealthKind::kMissing, HealthKind::kNoData,  HealthKind::kPath};

uint64_t ProblemsOf(const Health& health, HealthKind kind) {
  return static_cast<uint64_t>(std::count_if(
      health.findings.begin(), health.findings.end(),
      [kind](const HealthFinding& finding) { return finding.problem && finding.kind == kind; }));
}

void PutHead(TextOut& out, const char* name, const char* help) {
  out.Print("# HELP qelprfarc_{0} {1}\n# TYPE qelprfarc_{0} gauge\n", name, help);
}

void PutGauge(TextOut& out, const char* name, const char* help, uint64_t value) {
  PutHead(out, name, help);
  out.Print("qelprfarc_{} {}\n", name, value);
}

void PutLastRun(TextOut& out, const Health& health) {
  if (!health.last_run) return;
  const ArchiveRun& run = *health.last_run;
  PutGauge(out, "last_run_timestamp_seconds", "Start of the last run, in seconds since 1970.",
           static_cast<uint64_t>(run.start));
  PutGauge(out, "last_run_duration_seconds", "From its first to its last line in the trace.",
           static_cast<uint64_t>(std::max<int64_t>(run.last_line - run.start, 0)));
  PutGauge(out, "last_run_ended_well", "1 when the last run reached its end.",
           run.ended_well ? 1 : 0);
  PutGauge(out, "last_run_archived", "Archives that were written during the last run.",
           health.archived);
  PutGauge(out, "last_run_removed", "Files that the last run removed.", run.removed);
}

void PutStored(TextOut& out, const Health& health) {
  PutHead(out, "stored_bytes", "Size of the files, by class.");
  for (const StoredFiles& stored : health.stored) {
    out.Print("qelprfarc_stored_bytes{{class=\"{}\"}} {}\n", stored.word, stored.bytes);
  }
  PutHead(out, "stored_files", "Number of files, by class.");
  for (const StoredFiles& stored : health.stored) {
    out.Print("qelprfarc_stored_files{{class=\"{}\"}} {}\n", stored.word, stored.files);
  }
}

}  // namespace

void PutHealthMetrics(TextOut& out, const Health& health, bool healthy) {
  PutGauge(out, "healthy", "1 when psltool health finds no problem.", healthy ? 1 : 0);
  PutGauge(out, "running", "1 while an archiver holds the lock.", health.running ? 1 : 0);
  PutLastRun(out, health);
  PutGauge(out, "failures", "Failures since the last run that ended well began.",
           ProblemsOf(health, HealthKind::kFailure));
  PutGauge(out, "gaps", "Days of an array with neither log nor archive.",
           ProblemsOf(health, HealthKind::kNoData));
  PutHead(out, "problems", "Problems, by the kinds of psltool health.");
  for (const HealthKind kind : kHealthKinds) {
    out.Print("qelprfarc_problems{{kind=\"{}\"}} {}\n", WordOf(kind), ProblemsOf(health, kind));
  }
  PutStored(out, health);
  out.Put("# EOF\n");
}

}  // namespace psltool
