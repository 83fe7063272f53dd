// Inputs of a planned archive run: see the header.
#include "tools/running/plan_inputs.h"

#include <fmt/format.h>

#include <cstdlib>

#include "engine/byteorder.h"
#include "engine/input.h"
#include "engine/names.h"
#include "engine/pmoncommon.h"
#include "engine/pmonfile.h"
#include "logdir/autotarget.h"
#include "platform/places.h"
#include "tools/checking/check_file.h"
#include "tools/output/progress.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

namespace {

// Why the check of the inputs drops one.
PlanFile Dropped(const std::string& name, const InputLook& look) {
  const std::string path = PlanPath(name);
  if (!look.opened) return {path, "unreadable", "does not open (message 102)"};
  switch (look.verdict) {
    case HeaderVerdict::kShort:
      return {path, "short", "shorter than its file header (message 110)"};
    case HeaderVerdict::kUnknownRevision:
      return {path, "revision", "a format revision that is not known (message 120)"};
    default:
      return {path, "header", "does not begin with a file header (message 101)"};
  }
}

// In the order of the run.
std::vector<std::string> Sorted(const std::vector<std::string>& names) {
  std::vector<const char*> pointers;
  pointers.reserve(names.size());
  for (const std::string& name : names) pointers.push_back(name.c_str());
  // qsort takes no null pointer
  if (!pointers.empty()) {
    std::qsort(static_cast<void*>(pointers.data()), pointers.size(), sizeof(char*), FSortFunc);
  }
  return {pointers.begin(), pointers.end()};
}

// Reads the records up to the first that the archiver breaks off at.
void ReadThrough(PlannedInput& input, Progress& progress) {
  PslReader reader(AutoFilePath(input.name), PslReader::Reports::kKept);
  input.broken = !reader.Open();
  if (input.broken) return;
  const FindingSink ignore = [](const Finding&) {};
  RecordChecker checker(reader.header());
  while (!input.broken && reader.Next()) {
    progress.Show(reader.path(), reader.position(), reader.size());
    input.last_time = Load32(reader.record().data() + kAtTime);
    input.broken = checker.Check(reader, ignore) == Verdict::kBroken;
  }
  input.broken = input.broken || reader.failed();
}

PlannedInput FromView(const std::string& name, const MadeArchive& made) {
  PlannedInput input;
  input.name = name;
  input.revision = made.revision;
  input.level = 'H';
  input.header_time = made.header_time;
  input.last_time = made.last_time;
  return input;
}

}  // namespace

CheckedInputs CheckPlannedInputs(const std::vector<std::string>& targets, char level,
                                 const PlanRequest& request, ArchiveView& view) {
  CheckedInputs checked;
  Progress progress;
  for (const std::string& name : Sorted(targets)) {
    const auto made = view.made.find(name);
    if (made != view.made.end()) {
      checked.accepted.push_back(FromView(name, made->second));
      continue;
    }
    const InputLook look = LookAtInput(AutoFilePath(name));
    if (look.opened && look.error != 0) {
      checked.unread = true;
      return checked;
    }
    if (!look.opened) checked.unopened.push_back(name);
    if (!look.opened || look.verdict != HeaderVerdict::kAccepted) {
      checked.dropped.push_back(Dropped(name, look));
      view.unarchived.Note(name.c_str(), level);  // as the run does
      continue;
    }
    PlannedInput input;
    input.name = name;
    input.revision = look.revision;
    input.level = look.level;
    input.header_time = look.time;
    input.last_time = look.time;
    if (request.read_through) ReadThrough(input, progress);
    checked.accepted.push_back(input);
  }
  return checked;
}

std::string PlanPath(const std::string& name) {
  return (LiesInArchive(name) ? kArchivePart : "") + name;
}

}  // namespace psltool
