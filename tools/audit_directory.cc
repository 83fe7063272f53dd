// Audits of a directory: see the header. Which inputs an archive has follows from their names.
#include "tools/audit_directory.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>

#include "tools/recompute_inputs.h"
#include "tools/report.h"

namespace {

namespace fs = std::filesystem;

constexpr size_t kDateDigits = 8;
constexpr size_t kMonthDigits = 6;
constexpr size_t kMostKept = 100000;  // findings of one archive

struct DayFile {
  std::string path;
  std::string day;  // date and array
};

bool BeginsWithDigits(std::string_view name, size_t count) {
  return name.size() >= count &&
         std::all_of(name.begin(), name.begin() + static_cast<std::ptrdiff_t>(count),
                     [](unsigned char c) { return std::isdigit(c) != 0; });
}

// Date and array of a name: files with the same belong to the same archive.
std::string DayOf(const std::string& path) {
  const std::string_view base = BaseNameOf(path);
  const size_t hash = base.find('#');
  return std::string(base.substr(0, hash != std::string_view::npos ? hash : base.find('.')));
}

std::string MonthOf(const std::string& day) {
  return day.substr(0, kMonthDigits) + day.substr(std::min(day.size(), kDateDigits));
}

// Files of an extension whose names begin with so many digits, sorted. False: reported.
bool List(const std::string& directory, const char* extension, size_t digits,
          std::vector<DayFile>& files) {
  std::error_code error;
  fs::directory_iterator entry(directory, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (entry->path().extension() != extension || !BeginsWithDigits(name, digits)) continue;
    std::error_code ignored;
    if (!entry->is_regular_file(ignored)) continue;
    files.push_back({entry->path().string(), DayOf(name)});
  }
  std::sort(files.begin(), files.end(),
            [](const DayFile& a, const DayFile& b) { return a.path < b.path; });
  return !error || Fail(directory, "cannot be read: " + error.message());
}

// Level of an archive; 0 when its header tells none.
char LevelOf(const std::string& path) {
  PslReader reader(path, PslReader::Reports::kKept);
  return reader.Open() ? reader.header().level : '\0';
}

struct Shelves {
  std::vector<DayFile> logs;
  std::vector<DayFile> hour_archives;
};

std::vector<std::string> LogsOfDay(const Shelves& shelves, const std::string& day) {
  std::vector<std::string> paths;
  for (const DayFile& file : shelves.logs) {
    if (file.day == day) paths.push_back(file.path);
  }
  return paths;
}

// Hour archives of the month, and the logs of days that have none; or logs alone.
std::vector<std::string> InputsOfMonth(const Shelves& shelves, const std::string& month,
                                       bool hour_archives) {
  std::vector<std::string> paths;
  std::set<std::string> days;
  if (hour_archives) {
    for (const DayFile& file : shelves.hour_archives) {
      if (MonthOf(file.day) != month) continue;
      paths.push_back(file.path);
      days.insert(file.day);
    }
  }
  for (const DayFile& file : shelves.logs) {
    if (MonthOf(file.day) == month && !days.contains(file.day)) paths.push_back(file.path);
  }
  return paths;
}

AuditedFile AuditWith(const std::string& archive, std::vector<std::string> inputs, AuditRun run,
                      Progress& progress) {
  AuditedFile file;
  file.path = archive;
  file.no_inputs = inputs.empty();
  AuditWishes wishes;
  wishes.archive = archive;
  wishes.inputs = std::move(inputs);
  wishes.run = run;
  const auto keep = [&](const AuditFinding& finding) {
    if (file.findings.size() < kMostKept) file.findings.push_back(finding);
  };
  if (!file.no_inputs) file.result = AuditArchive(wishes, keep, progress);
  return file;
}

}  // namespace

bool AuditDirectory(const DirectoryWishes& wishes,
                    const std::function<void(const AuditedFile&)>& visit, Progress& progress) {
  std::vector<DayFile> archives;
  Shelves shelves;
  if (!List(wishes.archives, ".psa", kMonthDigits, archives)) return false;
  if (archives.empty()) {
    return Fail(wishes.archives, "holds no archive (.psa): nothing to audit");
  }
  if (!List(wishes.logs, ".psl", kDateDigits, shelves.logs)) return false;
  std::set<std::string> day_level;
  for (const DayFile& file : archives) {
    const char level = LevelOf(file.path);
    if (level == 'D') day_level.insert(file.path);
    if (level == 'H') shelves.hour_archives.push_back(file);
  }
  for (const DayFile& file : archives) {
    if (!day_level.contains(file.path)) {
      visit(AuditWith(file.path, LogsOfDay(shelves, file.day), wishes.run, progress));
      continue;
    }
    const auto inputs = InputsOfMonth(shelves, file.day, true);
    AuditedFile audited = AuditWith(file.path, inputs, wishes.run, progress);
    const auto logs = InputsOfMonth(shelves, file.day, false);
    if (audited.result.findings != 0 && !logs.empty() && logs != inputs) {
      // Made straight from the logs, perhaps.
      AuditedFile other = AuditWith(file.path, logs, wishes.run, progress);
      if (other.result.findings < audited.result.findings) audited = std::move(other);
    }
    visit(audited);
  }
  return true;
}
