// Units of archiving work: see the header.
#include "tools/running/units.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>

#include "engine/names.h"
#include "engine/pmonfile.h"
#include "logdir/autorules.h"
#include "logdir/timespan.h"
#include "tools/checking/check_file.h"
#include "tools/output/report.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

namespace {

// Name of the unit that takes the file; empty when none does.
std::string UnitNameOf(UnitLevel level, const std::string& file) {
  const bool day = level == UnitLevel::kDay;
  if (!HasExtension(file, day ? kArchiveExtension : kLogExtension)) return "";
  if (!BeginsWithDigits(file, kDayDigits)) return "";
  const tm date = NameDate(file.c_str(), -1);
  if (CheckTm(&date) != 0) return "";
  const std::string stem(StemOf(file));
  return day ? MonthKeyOfDay(stem) : stem;
}

// As the archiver sorts.
void SortInputs(std::vector<UnitInput>& inputs) {
  // By name first, so that the order does not depend on the directory where the archiver sees none.
  std::sort(inputs.begin(), inputs.end(),
            [](const UnitInput& a, const UnitInput& b) { return a.name < b.name; });
  std::stable_sort(inputs.begin(), inputs.end(), [](const UnitInput& a, const UnitInput& b) {
    return OrderKeyOf(a.name) < OrderKeyOf(b.name);
  });
}

size_t DigitsOf(UnitLevel level) { return level == UnitLevel::kDay ? kMonthDigits : kDayDigits; }

// Level byte of an archive, 0 when there is none.
char LevelByte(const std::string& path) {
  char bytes[kAtLevel + 1] = "";
  const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd == -1) return 0;
  const bool whole = read(fd, bytes, sizeof bytes) == static_cast<ssize_t>(sizeof bytes);
  close(fd);
  return whole ? bytes[kAtLevel] : '\0';
}

bool IsOver(const UnitPlace& place, const UnitInput& input) {
  // What the automatic runs take, without any limit.
  const Limits none = {CurrentTime(), {}};
  return ::IsOver(input.name.c_str(),
                  PeriodOfRun(place.level == UnitLevel::kHour ? 'H' : 'D', none));
}

UnitState StateOf(const UnitPlace& place, const WorkUnit& unit) {
  if (!IsOver(place, unit.inputs.front())) return UnitState::kNotOver;
  const std::string output = OutputOf(place, unit);
  struct stat status {};
  if (stat(output.c_str(), &status) != 0) return UnitState::kDue;
  const int64_t made = int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec;
  for (const UnitInput& input : unit.inputs) {
    if (input.modified > made) return UnitState::kDue;
  }
  std::string why;
  return IsSoundArchive(output, place.level, place.verify, why) ? UnitState::kPresent
                                                                : UnitState::kDue;
}

class Finder {
 public:
  explicit Finder(const UnitPlace& place) : place_(place) {}

  // Takes the files of the unit `only`, or of all units when it is empty.
  bool Read(const std::string& only) {
    DIR* stream = opendir(place_.inputs.c_str());
    if (stream == nullptr) return Fail(place_.inputs, strerror(errno));
    // Of the many files of a directory nearly none are of one unit: they are passed over by how
    // they begin.
    const std::string begin = place_.level == UnitLevel::kDay ? only.substr(0, kMonthDigits) : only;
    errno = 0;
    while (const dirent* entry = readdir(stream)) {
      if (strncmp(entry->d_name, begin.c_str(), begin.size()) != 0) continue;
      const std::string unit = UnitNameOf(place_.level, entry->d_name);
      if (!unit.empty() && (only.empty() || unit == only)) Take(unit, entry->d_name);
      errno = 0;
    }
    const int error = errno;
    closedir(stream);
    return error == 0 || Fail(place_.inputs, strerror(error));
  }

  std::vector<WorkUnit> Units() {
    std::vector<WorkUnit> units;
    for (auto& [name, unit] : units_) {
      SortInputs(unit.inputs);
      unit.state = StateOf(place_, unit);
      units.push_back(std::move(unit));
    }
    return units;
  }
  const std::vector<std::string>& left_out() const { return left_out_; }

 private:
  void Take(const std::string& unit_name, const std::string& file) {
    const std::string path = place_.inputs + "/" + file;
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode)) return;
    if (place_.level == UnitLevel::kDay) {
      // A day archive of an array whose name begins with digits looks like an hour archive.
      if (status.st_size == 0) {
        left_out_.push_back(file);
        return;
      }
      if (LevelByte(path) == 'D') return;
    }
    WorkUnit& unit = units_[unit_name];
    unit.name = unit_name;
    unit.date = DateOfDigits(unit_name, DigitsOf(place_.level));
    unit.array = unit_name.substr(DigitsOf(place_.level));
    unit.inputs.push_back(
        {file, static_cast<uint64_t>(status.st_size),
         int64_t{status.st_mtim.tv_sec} * 1'000'000'000 + status.st_mtim.tv_nsec});
    unit.bytes += static_cast<uint64_t>(status.st_size);
  }

  const UnitPlace& place_;
  std::map<std::string, WorkUnit> units_;
  std::vector<std::string> left_out_;
};

}  // namespace

const char* WordOf(UnitLevel level) { return level == UnitLevel::kHour ? "hour" : "day"; }

std::string ArchiveOf(const WorkUnit& unit) { return unit.name + std::string(kArchiveExtension); }

std::string OutputOf(const UnitPlace& place, const WorkUnit& unit) {
  return place.outputs + "/" + ArchiveOf(unit);
}

bool FindUnits(const UnitPlace& place, std::vector<WorkUnit>& units,
               std::vector<std::string>& left_out) {
  Finder finder(place);
  if (!finder.Read("")) return false;
  units = finder.Units();
  left_out = finder.left_out();
  std::sort(left_out.begin(), left_out.end());
  return true;
}

bool FindUnit(const UnitPlace& place, const std::string& name, WorkUnit& unit) {
  Finder finder(place);
  if (!finder.Read(name)) return false;
  std::vector<WorkUnit> units = finder.Units();
  if (units.empty()) {
    return Fail(place.inputs + "/" + name,
                fmt::format("there is no {} of this unit",
                            place.level == UnitLevel::kHour ? "log" : "hour archive"));
  }
  unit = std::move(units.front());
  return true;
}

bool IsSoundArchive(const std::string& path, UnitLevel level, bool whole, std::string& why) {
  PslReader reader(path, PslReader::Reports::kKept);
  if (!reader.Open()) {
    why = Describe(reader.trouble());
    return false;
  }
  if (reader.header().level != (level == UnitLevel::kHour ? 'H' : 'D')) {
    why = fmt::format("is no {} archive by its header", WordOf(level));
    return false;
  }
  if (!whole) return true;
  Progress progress(false);
  const FindingSink take = [&why](const Finding& finding) {
    if (why.empty() && finding.severity != Severity::kWarning) why = Describe(finding);
  };
  const CheckedFile checked = CheckFile(path, take, progress);
  return checked.errors == 0 && !checked.unreadable;
}

}  // namespace psltool
