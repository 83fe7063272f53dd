// The pruning of a plan: the pruning routine itself runs, with other hands. Everything that it does
// to files goes through a table; there its deletions and moves are only written down,
// and what it has deleted looks like something else to the steps that follow.
#include <fmt/format.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "archiver/prune.h"
#include "engine/names.h"
#include "logdir/timespan.h"
#include "pmonb/PMONBcomDeletePml.h"
#include "pmonb/pml_system.h"
#include "report/runinfo.h"
#include "tools/running/plan.h"
#include "tools/running/plan_dangers.h"

namespace psltool {

namespace {

constexpr int8_t kOldest = 4;

Plan* current = nullptr;
uint32_t today = 0;            // YYMMDD
std::set<std::string> gone;    // deleted or moved by the tasks so far
std::set<std::string> oldest;  // whose date is the last that is too old
std::set<std::string> told;    // files that stop the run

PruneStep& Step() { return current->pruning.back(); }

std::string Reason(const std::string& path) {
  const std::string name(BaseName(path));
  if (check_pml_filename(name.c_str()) != 0) {
    return fmt::format("goes with every task: {}", ForeignNameText(name));
  }
  switch (Step().mode) {
    case kByAge:
      return fmt::format("{} {} days before the newest of its directory",
                         oldest.contains(path) ? "exactly" : "more than", arcdelinfo.term_num);
    case kOldest:
      return fmt::format("one of the {} oldest", arcdelinfo.oldest_num);
    case kToLimit:
      return "the oldest, until the total fits the volume";
    default:
      return "staged, and not the newest";
  }
}

std::optional<int64_t> SizeOf(const char* path) {
  struct stat status {};
  if (lstat(path, &status) != 0) return std::nullopt;
  return status.st_size;
}

int NoteRemoval(const char* path) {
  Step().files.push_back({path, "delete", Reason(path), SizeOf(path)});
  gone.insert(path);
  return 0;
}

int NoteMove(const char* source, const char* target, uint32_t* /*detail*/) {
  const std::string path = source;
  const std::string there = target + std::string(BaseName(path));
  struct stat status {};
  if (lstat(there.c_str(), &status) == 0 && !gone.contains(there)) {
    const bool stops = S_ISDIR(status.st_mode);
    current->warnings.push_back(fmt::format(
        "{} {}", there,
        stops ? "is a directory: a log of that name cannot be moved, and every run stops there"
              : "is there already, and is replaced by the staged log of that name"));
    if (stops) return -1;
  }
  Step().files.push_back(
      {source, kPlanMove, fmt::format("to {}: {}", target, Reason(path)), SizeOf(source)});
  gone.insert(path);
  return 0;
}

// As the run's own would fail below a directory that is not there.
int NoteDirectory(const char* path, mode_t /*mode*/) {
  const std::string text = path;
  struct stat status {};
  if (text.empty() || stat(text.substr(0, text.rfind('/')).c_str(), &status) != 0) {
    errno = ENOENT;
    return -1;
  }
  current->notes.push_back(fmt::format("the run makes the directory {}", path));
  return 0;
}

// The routine passes over directories. A log whose status it cannot have ends it.
int Status(const char* path, struct stat* status) {
  const int result = stat(path, status);
  if (result == 0 && gone.contains(path)) status->st_mode = S_IFDIR;
  const int error = errno;
  struct stat link {};
  if (result != 0 && std::string_view(path).ends_with(".pml") && lstat(path, &link) == 0 &&
      told.insert(path).second) {
    current->warnings.push_back(
        fmt::format("{} {}: every run stops there and prunes nothing", path,
                    S_ISLNK(link.st_mode) ? "is a link to nowhere" : strerror(error)));
  }
  errno = error;
  return result;
}

void Chosen(const PmlWork& work) {
  NoteDangers(work, today, *current);
  oldest.clear();
  if (work.mode->code != kByAge) return;
  uint32_t index = 0;
  for (uint32_t i = 0; i < work.dir_count; ++i) {
    const int64_t threshold = PmlAgeThreshold(work.dirs[i].newest_date, work.param->term);
    for (const uint32_t end = index + work.dirs[i].files; index < end; ++index) {
      const PmlFileEntry& file = work.files[index];
      if (file.valid != 0 && file.date == threshold) oldest.insert(file.path);
    }
  }
}

void Begin(int8_t mode) {
  current->pruning.emplace_back();
  Step().mode = mode;
}

void End(int8_t /*mode*/, int result, const PmlDelParam& param) {
  Step().result = result;
  if (result == kPmlSkipped) {
    Step().failure = "skipped: no volume is mounted, or QelPMON_EMBSYSVOL is \"no\"";
  } else if (result == kPmlNothingToDo) {
    Step().failure = "no PML file is there";
  } else if (result == kPmlDone && Step().mode == kOldest && Step().files.empty()) {
    current->notes.push_back(
        fmt::format("{} files are there: of up to 7 nothing is deleted by number, of more any "
                    "number may go",
                    param.file_count));
  } else if (result != kPmlDone) {
    Step().failure = fmt::format("fails: {}, error {}, detail 0x{:08x}", param.err_func,
                                 param.err_no, param.detail);
  }
}

}  // namespace

void PlanPruning(const PlanRequest& request, Plan& plan) {
  const tm date = LocalTime(request.now);
  today =
      static_cast<uint32_t>((date.tm_year - 100) * 10000 + (date.tm_mon + 1) * 100 + date.tm_mday);
  current = &plan;
  gone.clear();
  told.clear();
  NoteSurroundings(plan);
  PmlSystem hands = pml_system;
  hands.chosen = Chosen;
  hands.remove_file = NoteRemoval;
  hands.move_file = NoteMove;
  hands.make_dir = NoteDirectory;
  hands.status = Status;
  RehearsePruning({hands, Begin, End});
  current = nullptr;
}

}  // namespace psltool
