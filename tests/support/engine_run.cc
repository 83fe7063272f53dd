// Archive runs inside the test program: see the header.
#include "tests/support/engine_run.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "areas/finfo.h"
#include "engine/QelprfarcMain.h"
#include "engine/pmoncommon.h"
#include "platform/QelCM.h"
#include "platform/zone.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "tests/support/run_state.h"

namespace {

// "date time process tag:line text" -> text
std::vector<std::string> TraceTexts(const std::string& content) {
  std::vector<std::string> texts;
  std::istringstream stream(content);
  for (std::string line; std::getline(stream, line);) {
    size_t at = 0;
    for (int i = 0; i < 4; ++i) at = line.find(' ', at) + 1;
    texts.push_back(line.substr(at));
  }
  return texts;
}

// Target lists of directory runs come from the heap.
void MakeTargetList(std::vector<std::string>& names) {
  TargetList = static_cast<char**>(malloc((names.size() + 1) * sizeof(char*)));
  Ntarget = static_cast<int32_t>(names.size());
  for (size_t i = 0; i < names.size(); ++i) TargetList[i] = names[i].data();
  FlistBuf = static_cast<char*>(malloc(1));
  finfo.target_marks = static_cast<uint8_t*>(calloc(names.size() + 1, 1));
  finfo.target_marks_size = names.size();
}

EngineOutcome Run(const TempDir& notes) {
  EngineOutcome outcome{};
  {
    const Capture err(2);
    const Capture out(1);
    outcome.status = StatusOf([] {
      InitArchiver();
      ArcMain();
    });
    outcome.err = err.Text();
    outcome.out = out.Text();
  }
  outcome.failed = arcdel_errflg;
  if (finfo.target_marks != nullptr) {
    outcome.marks.assign(finfo.target_marks, finfo.target_marks + finfo.target_marks_size);
  }
  outcome.trace = TraceTexts(notes.Read("trace"));
  ResetEngine();
  return outcome;
}

void StartTrace(const TempDir& notes) {
  snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "%s", notes.Path("trace").c_str());
}

}  // namespace

void ResetEngine() {
  if (rfd >= 0) close(rfd);
  if (wfd >= 0) close(wfd);
  rfd = -1;
  wfd = -1;
  // A manual run of newer files leaves the time zone switched.
  if (finfo.utc_in_force) SwitchBackFromUtc();
  MemoryFree();
  ResetRunState();
  OutMsgNum = 0;
  pmonarc_stat = 0;
  Rev_Kind = 0;
}

EngineOutcome RunManual(const std::vector<std::string>& inputs, const ManualSettings& settings) {
  const TempDir notes;
  ResetEngine();
  std::vector<std::string> names = inputs;
  MakeTargetList(names);
  StartTrace(notes);
  finfo.optclass = settings.by_directory ? kOptDirectory : kOptFile;
  finfo.level = settings.level;
  if (!settings.directory.empty()) finfo.path = settings.directory.c_str();
  if (!settings.outpath.empty()) finfo.outpath = settings.outpath.c_str();
  arcdelinfo.out_flg = settings.outpath.empty() ? 0 : 1;
  arcdelinfo.noperiod_flg = settings.noperiod ? 1 : 0;
  OptVerbose = settings.verbose ? 1 : 0;
  return Run(notes);
}

EngineOutcome RunAutomatic(const TempDir& directory, const std::vector<std::string>& inputs,
                           char level) {
  const TempDir notes;
  ResetEngine();
  std::vector<std::string> names = inputs;
  MakeTargetList(names);
  StartTrace(notes);
  finfo.optclass = kOptDirectory;
  finfo.level = level;
  arcdelinfo.auto_flg = 1;
  arcdelinfo.arc_flg = 1;
  snprintf(arcdelinfo.arcdir, sizeof arcdelinfo.arcdir, "%s/", directory.Path().c_str());
  return Run(notes);
}

std::vector<std::string> With(const std::string& part, const std::vector<std::string>& lines) {
  std::vector<std::string> found;
  for (const std::string& line : lines) {
    if (line.find(part) != std::string::npos) found.push_back(line);
  }
  return found;
}
