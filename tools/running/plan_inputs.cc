// Inputs of a planned archive run: see the header.
#include "tools/running/plan_inputs.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "areas/finfo.h"
#include "engine/byteorder.h"
#include "engine/input.h"
#include "engine/names.h"
#include "engine/pmoncommon.h"
#include "engine/pmonfile.h"
#include "tools/checking/check_file.h"
#include "tools/output/progress.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

namespace {

// What the header check says, by the number of its message.
PlanFile Dropped(const std::string& name, int32_t message) {
  switch (message) {
    case 102:
      return {PlanPath(name), "unreadable", "does not open (message 102)"};
    case 110:
      return {PlanPath(name), "short", "shorter than its file header (message 110)"};
    case 120:
      return {PlanPath(name), "revision", "a format revision that is not known (message 120)"};
    default:
      return {PlanPath(name), "header",
              fmt::format("does not begin with a file header (message {})", message)};
  }
}

std::vector<char*> Sorted(const std::vector<std::string>& names) {
  std::vector<char*> pointers;
  pointers.reserve(names.size());
  for (const std::string& name : names) pointers.push_back(const_cast<char*>(name.c_str()));
  if (pointers.empty()) return pointers;  // qsort takes no null pointer
  std::qsort(static_cast<void*>(pointers.data()), pointers.size(), sizeof(char*), FSortFunc);
  return pointers;
}

// The archiver's check of one input. False: refused, with the number of the message.
bool Accepted(char* name, int32_t& message) {
  TargetList = static_cast<char**>(Malloc(sizeof(char*)));
  TargetList[0] = name;
  Ntarget = 1;
  CheckInputs();
  const bool accepted = Ntarget == 1;
  std::free(static_cast<void*>(TargetList));
  TargetList = nullptr;
  Ntarget = 0;
  const std::vector<CaughtMessage> messages = MessageCatcher::Take();
  if (!messages.empty()) message = messages.back().number;
  return accepted;
}

// Reads the header that was found sound just now.
void ReadHead(PlannedInput& input) {
  uint8_t bytes[kAtLevel + 1] = {};
  const int fd = open(InputPath(input.name.c_str()).c_str(), O_RDONLY | O_CLOEXEC);
  if (fd == -1) return;
  if (pread(fd, bytes, sizeof bytes, 0) == static_cast<ssize_t>(sizeof bytes)) {
    input.revision = bytes[kAtFlag];
    input.header_time = Load32(bytes + kAtTime);
    input.level = static_cast<char>(bytes[kAtLevel]);
  }
  close(fd);
}

// Reads the records up to the first that the archiver breaks off at.
void ReadThrough(PlannedInput& input, Progress& progress) {
  PslReader reader(InputPath(input.name.c_str()), PslReader::Reports::kKept);
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

CheckedInputs CheckPlannedInputs(const std::vector<std::string>& targets,
                                 const PlanRequest& request, const ArchiveView& view) {
  CheckedInputs checked;
  const MessageCatcher catcher;
  Progress progress;
  finfo.optclass = kOptDirectory;
  for (char* name : Sorted(targets)) {
    const auto made = view.made.find(name);
    if (made != view.made.end()) {
      checked.accepted.push_back(FromView(name, made->second));
      continue;
    }
    int32_t message = 0;
    if (!Accepted(name, message)) {
      checked.dropped.push_back(Dropped(name, message));
      continue;
    }
    PlannedInput input;
    input.name = name;
    ReadHead(input);
    input.last_time = input.header_time;
    if (request.read_through) ReadThrough(input, progress);
    checked.accepted.push_back(input);
  }
  rfname = nullptr;
  return checked;
}

std::string PlanPath(const std::string& name) {
  return (LiesInArchive(name) ? "archive/" : "") + name;
}

}  // namespace psltool
