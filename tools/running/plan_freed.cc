// What the removals of a plan free, and whether the data of what goes are archived. Looks at the
// plan alone and at the files that it names.
#include <fmt/format.h>
#include <sys/stat.h>

#include <map>

#include "engine/names.h"
#include "platform/places.h"
#include "report/runinfo.h"
#include "tools/running/plan.h"

namespace psltool {

namespace {

// Sound archives that are there after the run, by the digits of their day or month.
class Remaining {
 public:
  Remaining(const ArchiveView& view, const Plan& plan) {
    const AutoProbe probe = view.Probe();
    for (const std::string& name : view.Names()) {
      const int level = probe.level(name.c_str());
      // What is left unfinished holds nothing, and neither does what is empty.
      if (!IsArchiveName(name)) continue;
      const bool sound = probe.version(name.c_str()) == 0;
      if (level == 1) (sound ? hours_ : empty_).emplace(name.substr(0, kDayDigits), name);
      if (sound && level == 2) days_.emplace(name.substr(0, kMonthDigits), name);
    }
    for (const PlanFile& file : plan.removed) {
      if (LiesWithArchives(file.path))
        Erase(hours_, NameInDirectory(file.path)), Erase(days_, NameInDirectory(file.path));
    }
  }

  // The archive of the day, else that of the month, of the file `name`; empty without one.
  std::string ArchiveOf(const std::string& name, bool is_hour_archive) const {
    if (name.size() < kDayDigits) return "";
    const std::string day = name.substr(0, kDayDigits);
    const std::string found = is_hour_archive ? "" : Find(hours_, day, name);
    if (!found.empty()) return found;
    // The month was made of the archives that held something.
    if (!Find(empty_, day, name).empty()) return "";
    const std::string month = day.substr(0, kMonthDigits);
    return Find(days_, month, month + name.substr(kDayDigits));
  }

 private:
  using Names = std::multimap<std::string, std::string>;

  static void Erase(Names& names, const std::string& name) {
    std::erase_if(names, [&name](const auto& entry) { return entry.second == name; });
  }

  // `name` as an archive of it is called, but for the extension and the sequence number.
  static std::string Find(const Names& names, const std::string& date, const std::string& name) {
    const auto [begin, end] = names.equal_range(date);
    for (auto at = begin; at != end; ++at) {
      if (OfSameDay(name, at->second)) return kArchivePart + at->second;
    }
    return "";
  }

  Names hours_;
  Names empty_;  // hour archives of broken logs
  Names days_;
};

std::optional<int64_t> SizeOf(const std::string& path) {
  struct stat status {};
  if (lstat((arcdelinfo.arcdir + path).c_str(), &status) != 0) return std::nullopt;
  return status.st_size;
}

}  // namespace

void NoteFreed(const ArchiveView& view, Plan& plan) {
  const AutoProbe probe = view.Probe();
  const Remaining remaining(view, plan);
  std::map<std::string, std::pair<size_t, std::string>> lost;  // what: how many, the first
  for (PlanFile& file : plan.removed) {
    // What the run itself makes has no size yet.
    file.bytes = SizeOf(file.path);
    if (file.code != "expired") continue;
    const std::string name = NameInDirectory(file.path);
    const bool archive = LiesWithArchives(file.path);
    // Nothing comes after a day archive.
    if (archive && probe.level(name.c_str()) == 2) continue;
    file.archive = remaining.ArchiveOf(name, archive);
    if (!file.archive->empty()) continue;
    auto& [count, first] = lost[archive ? "hour archive" : "log"];
    if (count++ == 0) first = file.path;
  }
  for (const auto& [what, files] : lost) {
    plan.warnings.push_back(fmt::format("{} {}{} without an archive of {}; the first is {}",
                                        files.first, what, files.first == 1 ? " goes" : "s go",
                                        what == "log" ? "the day or its month" : "the month",
                                        files.second));
  }
}

int64_t BytesFreed(const std::vector<PlanFile>& files) {
  int64_t sum = 0;
  for (const PlanFile& file : files) {
    if (file.code != kPlanMove) sum += file.bytes.value_or(0);
  }
  return sum;
}

std::string SizeText(int64_t bytes) {
  constexpr const char* kUnits[] = {"KiB", "MiB", "GiB"};
  if (bytes < 10240) return fmt::format("{} byte{}", bytes, bytes == 1 ? "" : "s");
  double size = static_cast<double>(bytes) / 1024;
  size_t unit = 0;
  for (; unit < 2 && size >= 1024; ++unit) size /= 1024;
  return fmt::format("{:.1f} {}", size, kUnits[unit]);
}

}  // namespace psltool
