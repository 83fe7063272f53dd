// Inputs of archives: see the header.
#include "tools/audit/archive_inputs.h"

#include <algorithm>
#include <filesystem>
#include <set>

#include "engine/names.h"
#include "tools/output/report.h"
#include "tools/reading/input_files.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

namespace {

namespace fs = std::filesystem;

bool Holds(const std::vector<std::string>& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// What the archive can be made of, among the files of a directory.
std::vector<std::string> Fitting(const ArchiveInputs& inputs,
                                 const std::vector<std::string>& files) {
  if (inputs.any_name) return files;
  Shelves shelves;
  for (const std::string& path : files) {
    if (!BeginsWithDigits(BaseName(path), kDayDigits)) continue;
    if (IsLogName(path)) {
      shelves.logs.push_back({path, DayKeyOf(path)});
    } else if (LevelOf(path) == 'H') {
      shelves.hour_archives.push_back({path, DayKeyOf(path)});
    }
  }
  const std::string stem = DayKeyOf(inputs.archive);
  if (LevelOf(inputs.archive) == 'D') return InputsOfMonth(shelves, stem, {});
  return LogsOfDay(shelves, stem);
}

}  // namespace

bool ListDayFiles(const std::string& directory, const char* extension, size_t digits,
                  std::vector<DayFile>& files) {
  std::error_code error;
  fs::directory_iterator entry(directory, error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (entry->path().extension() != extension || !BeginsWithDigits(name, digits)) continue;
    std::error_code ignored;
    if (!IsFileOfDirectory(name) || !entry->is_regular_file(ignored)) continue;
    files.push_back({entry->path().string(), DayKeyOf(name)});
  }
  std::sort(files.begin(), files.end(),
            [](const DayFile& a, const DayFile& b) { return a.path < b.path; });
  return !error || Fail(directory, "cannot be read: " + error.message());
}

char LevelOf(const std::string& path) {
  PslReader reader(path, PslReader::Reports::kKept);
  return reader.Open() ? reader.header().level : '\0';
}

std::vector<std::string> LogsOfDay(const Shelves& shelves, const std::string& day) {
  std::vector<std::string> paths;
  for (const DayFile& file : shelves.logs) {
    if (file.day == day) paths.push_back(file.path);
  }
  return paths;
}

std::vector<std::string> DaysWithBoth(const Shelves& shelves, const std::string& month) {
  std::set<std::string> logged;
  std::set<std::string> days;
  for (const DayFile& file : shelves.logs) logged.insert(file.day);
  for (const DayFile& file : shelves.hour_archives) {
    if (MonthKeyOfDay(file.day) == month && logged.contains(file.day)) days.insert(file.day);
  }
  return {days.begin(), days.end()};
}

std::vector<std::string> InputsOfMonth(const Shelves& shelves, const std::string& month,
                                       const std::vector<std::string>& from_logs) {
  std::vector<std::string> paths;
  std::set<std::string> days;
  for (const DayFile& file : shelves.hour_archives) {
    if (MonthKeyOfDay(file.day) != month || Holds(from_logs, file.day)) continue;
    paths.push_back(file.path);
    days.insert(file.day);
  }
  for (const DayFile& file : shelves.logs) {
    if (MonthKeyOfDay(file.day) == month && !days.contains(file.day)) paths.push_back(file.path);
  }
  return paths;
}

std::vector<std::string> LogsOfMonth(const Shelves& shelves, const std::string& month) {
  return InputsOfMonth({shelves.logs, {}}, month, {});
}

bool ResolveInputs(ArchiveInputs& inputs) {
  std::vector<std::string> resolved;
  for (const std::string& path : inputs.inputs) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
      resolved.push_back(path);
      continue;
    }
    std::vector<std::string> files;
    if (!CollectFiles({path}, files)) return false;
    std::erase_if(files, [&](const std::string& file) {
      return fs::equivalent(file, inputs.archive, error);
    });
    files = Fitting(inputs, files);
    if (files.empty()) return Fail(path, "holds nothing that goes into " + inputs.archive);
    resolved.insert(resolved.end(), files.begin(), files.end());
  }
  inputs.inputs = std::move(resolved);
  return true;
}

}  // namespace psltool
