// The pruning of a plan: the pruning routine itself runs, with other hands. Everything that it does
// to files goes through the table pml_system; there its deletions and moves are only written down,
// and what it has deleted looks like something else to the steps that follow.
#include <fmt/format.h>
#include <sys/stat.h>

#include <set>

#include "archiver/prune.h"
#include "archiver/runinfo.h"
#include "pmonb/PMONBcomDeletePml.h"
#include "pmonb/pml_system.h"
#include "tools/plan.h"

namespace {

constexpr int8_t kByAge = 3;
constexpr int8_t kOldest = 4;
constexpr int8_t kToLimit = 8;

Plan* current = nullptr;
std::set<std::string> gone;

PruneStep& Step() { return current->pruning.back(); }

std::string Reason(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (check_pml_filename(path.c_str() + (slash == std::string::npos ? 0 : slash + 1)) != 0) {
    return "its name has not the form of a PML file's, so it goes with every task";
  }
  switch (Step().mode) {
    case kByAge:
      return fmt::format("{} days or more before the newest of its directory", arcdelinfo.term_num);
    case kOldest:
      return fmt::format("one of the {} oldest", arcdelinfo.oldest_num);
    case kToLimit:
      return "the oldest, until the total fits the volume";
    default:
      return "staged, and not the newest";
  }
}

int NoteRemoval(const char* path) {
  Step().files.push_back({path, "delete", Reason(path)});
  gone.insert(path);
  return 0;
}

int NoteMove(const char* source, const char* target, uint32_t* /*detail*/) {
  Step().files.push_back({source, "move", fmt::format("to {}: {}", target, Reason(source))});
  gone.insert(source);
  return 0;
}

int NoteDirectory(const char* path, mode_t /*mode*/) {
  current->notes.push_back(fmt::format("the run makes the directory {}", path));
  return 0;
}

// The routine passes over directories.
int Status(const char* path, struct stat* status) {
  const int result = stat(path, status);
  if (result == 0 && gone.contains(path)) status->st_mode = S_IFDIR;
  return result;
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
  } else if (result != kPmlDone) {
    Step().failure = fmt::format("fails: {}, error {}, detail 0x{:08x}", param.err_func,
                                 param.err_no, param.detail);
  }
}

}  // namespace

void PlanPruning(Plan& plan) {
  const PmlSystem system = pml_system;
  const PruneWatch watch = {Begin, End};
  current = &plan;
  gone.clear();
  pml_system.remove_file = NoteRemoval;
  pml_system.move_file = NoteMove;
  pml_system.make_dir = NoteDirectory;
  pml_system.status = Status;
  prune_watch = &watch;
  PrunePmlFiles();
  prune_watch = nullptr;
  pml_system = system;
  current = nullptr;
}
