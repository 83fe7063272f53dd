// Audits of a directory: see the header. Which inputs an archive has follows from their names.
#include "tools/audit/audit_directory.h"

#include <set>

#include "engine/names.h"
#include "tools/audit/archive_inputs.h"
#include "tools/output/report.h"

namespace psltool {

namespace {

constexpr size_t kMostOfOne = 100000;  // findings of one archive

AuditedFile AuditWith(const std::string& archive, std::vector<std::string> inputs, AuditRun run,
                      Progress& progress) {
  AuditedFile file;
  file.path = archive;
  file.no_inputs = inputs.empty();
  AuditRequest request;
  request.archive = archive;
  request.inputs = std::move(inputs);
  request.run = run;
  const auto keep = [&](const AuditFinding& finding) {
    if (file.findings.size() < kMostOfOne) file.findings.push_back(finding);
  };
  if (!file.no_inputs) file.result = AuditArchive(request, keep, progress);
  return file;
}

// Audits a day archive. Nothing in it tells which days were read from hour archives and which
// straight from logs, since their hour archives came later: what fits best is taken.
AuditedFile AuditMonth(const DayFile& archive, const Shelves& shelves, AuditRun run,
                       Progress& progress) {
  std::vector<std::string> from_logs;
  std::vector<std::string> tried = InputsOfMonth(shelves, archive.day, from_logs);
  AuditedFile best = AuditWith(archive.path, tried, run, progress);
  // True when these inputs fit better.
  const auto improves = [&](const std::vector<std::string>& inputs) {
    if (inputs.empty() || inputs == tried) return false;
    AuditedFile other = AuditWith(archive.path, inputs, run, progress);
    const bool better = other.result.findings < best.result.findings;
    if (better) best = std::move(other);
    return better;
  };
  if (best.result.findings == 0) return best;
  improves(LogsOfMonth(shelves, archive.day));
  for (const std::string& day : DaysWithBoth(shelves, archive.day)) {
    if (best.result.findings == 0) break;
    from_logs.push_back(day);
    if (!improves(InputsOfMonth(shelves, archive.day, from_logs))) from_logs.pop_back();
  }
  return best;
}

}  // namespace

bool AuditDirectory(const DirectoryRequest& request,
                    const std::function<void(const AuditedFile&)>& visit, Progress& progress) {
  std::vector<DayFile> archives;
  Shelves shelves;
  if (!ListDayFiles(request.archives, ".psa", kMonthDigits, archives)) return false;
  if (archives.empty()) {
    return Fail(request.archives, "holds no archive (.psa): nothing to audit");
  }
  if (!ListDayFiles(request.logs, ".psl", kDayDigits, shelves.logs)) return false;
  std::set<std::string> day_level;
  for (const DayFile& file : archives) {
    const char level = LevelOf(file.path);
    if (level == 'D') day_level.insert(file.path);
    if (level == 'H') shelves.hour_archives.push_back(file);
  }
  for (const DayFile& file : archives) {
    if (!day_level.contains(file.path)) {
      visit(AuditWith(file.path, LogsOfDay(shelves, file.day), request.run, progress));
      continue;
    }
    visit(AuditMonth(file, shelves, request.run, progress));
  }
  return true;
}

}  // namespace psltool
