// The pruning routine: its modes as rows of one table, and the sequence of its steps. The steps
// themselves stand in pml_scan.cc, pml_decide.cc, pml_list.cc, pml_select.cc and pml_act.cc.
#include "pmonb/PMONBcomDeletePml.h"

#include <cstdio>
#include <cstring>

#include "platform/QelCM.h"
#include "pmonb/pml_detail.h"
#include "pmonb/pml_system.h"
#include "pmonb/pml_work.h"

namespace {

constexpr PmlMode kModes[] = {
    {.code = 1, .create = true, .decide = DecideNothing},
    {.code = 2,
     .create = true,
     .keeps_margin = true,
     .decide = DecideByHeadroom,
     .select = SelectForHeadroom},
    {.code = 3, .all_directories = true, .decide = DecideAlways, .select = SelectByAge},
    {.code = 4, .all_directories = true, .decide = DecideByNumber, .select = SelectOldest},
    {.code = 5, .all_directories = true, .filtered = true, .decide = DecideNothing},
    {.code = 6,
     .no_counting = true,
     .keeps_margin = true,
     .decide = DecideByHeadroom,
     .select = SelectForHeadroom},
    {.code = 7, .volume_check = true, .staging = true, .create = true, .decide = ReportHeadroom},
    {.code = 8, .volume_check = true, .decide = DecideByLimit, .select = SelectForHeadroom},
    {.code = 9,
     .volume_check = true,
     .staging = true,
     .create = true,
     .decide = DecideAlways,
     .select = SelectAllButNewest,
     .task = PmlTask::kMove},
    {.code = 10,
     .volume_check = true,
     .staging = true,
     .no_counting = true,
     .decide = ReportHeadroom},
};

constexpr bool CodesAscendFromOne() {
  int expected = 1;
  for (const PmlMode& mode : kModes) {
    if (mode.code != expected++) return false;
  }
  return true;
}
static_assert(CodesAscendFromOne());

const PmlMode* FindMode(int8_t code) {
  for (const PmlMode& mode : kModes) {
    if (mode.code == code) return &mode;
  }
  return nullptr;
}

// The caller's fixed-size field as text; a field without a terminator ends where it ends.
template <size_t size>
std::string Text(const char (&field)[size]) {
  return std::string(field, strnlen(field, size));
}

// Whether a path leads to the root directory, however it is written. An empty configuration does:
// it gets a "/" like every other.
bool IsRootDirectory(const std::string& path) {
  if (path.find_first_not_of('/') == std::string::npos) return true;
  struct stat root {};
  struct stat status {};
  return pml_system.status("/", &root) == 0 && pml_system.status(path.c_str(), &status) == 0 &&
         status.st_dev == root.st_dev && status.st_ino == root.st_ino;
}

PmlWork WorkFor(PmlDelParam* param, const PmlMode& mode) {
  PmlWork work{};
  work.param = param;
  work.mode = &mode;
  work.base = Text(param->base_dir);
  // Nobody's logs lie in "/00" to "/FF": without a directory every mode fails before it does a
  // thing.
  if (IsRootDirectory(work.base)) work.base.clear();
  work.directory = work.base;
  if (work.directory.ends_with('/')) work.directory.pop_back();
  work.staging = Text(param->trace_dir) + ".trace3";
  work.first_dir = mode.all_directories ? 0 : param->dir_no;
  work.dir_count = mode.all_directories ? kPmlDirectories : 1;
  return work;
}

int RefuseParameter(PmlDelParam* param) {
  param->detail = kPmlDetParam;
  snprintf(param->err_func, sizeof param->err_func, "param");
  return kPmlBadParameter;
}

// Freeing the tables replaces the code of the failure: after listing has begun the operation's name
// alone tells what failed. Readers of the trace rely on these codes.
int FailureExit(PmlWork& work) {
  if (work.files != nullptr) {
    work.files.reset();
    work.failure.detail = kPmlDetFreedFiles;
  }
  if (work.dirs != nullptr) {
    work.dirs.reset();
    work.failure.detail = kPmlDetFreedDirs;
  }
  PmlDelParam& param = *work.param;
  param.err_no = work.failure.error;
  param.detail = work.failure.detail;
  snprintf(param.err_func, sizeof param.err_func, "%s", work.failure.what.c_str());
  return kPmlFailed;
}

}  // namespace

bool PmlFailure(PmlWork& work, uint32_t detail, const char* what, int error) {
  work.failure = {what, detail, error};
  return false;
}

void PmlTrace(int line, const std::string& text) {
  sgmtr_dmptbl = 0;
  fn_I_trace(text.c_str(), 1, &sgmtr_dmptbl, "PMONBcomDeletePml", line, 0);
}

int PMONBcomDeletePml(PmlDelParam* param, int8_t mode_code) {
  if (param == nullptr) return kPmlBadParameter;
  const PmlMode* mode = FindMode(mode_code);
  if (mode == nullptr) return RefuseParameter(param);
  // "%02X" of a larger number would be a directory that is none of ours.
  if (!mode->all_directories && param->dir_no >= kPmlDirectories) return RefuseParameter(param);

  PmlWork work = WorkFor(param, *mode);
  if (!CheckVolumes(work)) return FailureExit(work);
  ApplyVolumeOverride(work);
  if (work.skip.has_value()) return *work.skip;

  if (!ScanSubdirectories(work) || !CountFiles(work)) return FailureExit(work);
  const PmlVerdict verdict = Decide(work);
  if (!verdict.act) return verdict.result;
  if (!ListFiles(work) || !mode->select(work)) return FailureExit(work);
  if (pml_system.chosen != nullptr) pml_system.chosen(work);
  if (!ActOnFiles(work)) return FailureExit(work);
  return verdict.result;
}
