// The output in progress: see the header.
#include "engine/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <unordered_set>
#include <vector>

#include "areas/finfo.h"
#include "engine/family.h"
#include "engine/header.h"
#include "engine/input.h"
#include "engine/joining.h"
#include "engine/layout/layout.h"
#include "engine/names.h"
#include "engine/outname.h"
#include "engine/output_file.h"
#include "engine/pmoncommon.h"
#include "engine/unarchived.h"
#include "platform/directory.h"
#include "platform/places.h"
#include "platform/process.h"
#include "report/messages.h"
#include "report/runinfo.h"

Output output;

namespace {

constexpr uint32_t kDetOpenNew = 0x03020003;
constexpr uint32_t kDetOpenSequel = 0x03020004;

// As many as a night has archives, and asked for each of them.
std::unordered_set<std::string> finished_paths;

// Finished outputs of an automatic run that get their names together.
struct Finished {
  std::string name;
  std::vector<const char*> inputs;
  bool whole;
};
std::vector<Finished> group;

void LeaveGroup() {
  for (const Finished& finished : group) {
    for (const char* input : finished.inputs) unarchived.Note(input, finfo.level);
  }
  group.clear();
  ForgetWaiting();
}

[[noreturn]] void CannotCreate(int error, uint32_t detail) {
  LogMessage(102, wfpath, "open", error, detail);
  LogMessage(114, "archives");
  RemoveWaiting();
  EndProcess(1);
}

// A path that holds an input or an archive of this run is refused before anything is touched.
bool CreateAtPath(uint32_t detail) {
  // A path that fills its buffer may have been cut, and would then be that of another file.
  if (std::strlen(wfpath) + 1 == sizeof wfpath) CannotCreate(ENAMETOOLONG, detail);
  const bool automatic = arcdelinfo.auto_flg != 0;
  const bool finished = finished_paths.contains(wfpath);
  if (finished && automatic) {
    // Two names lead to one archive; that is no reason to leave all arrays behind this one alone.
    LogMessage(102, wfpath, "open", EEXIST, detail);
    return false;
  }
  // The temporary files of automatic runs are made anew, whatever stands in their place.
  if (finished || (!automatic && IsInputFile(wfpath))) CannotCreate(EEXIST, detail);
  if (const int error = CreateOutputFile(); error != 0) CannotCreate(error, detail);
  output.active = true;
  output.revision = finfo.revision;
  finfo.output_has_structure = false;
  WriteHeaderRec();
  return true;
}

// An output truncated after a broken record was closed then; that it is empty must be on disk
// before it stands for its day.
const char* SyncEmptyOutput() {
  wfd = ::open(wfpath, O_WRONLY | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
  return wfd < 0 ? "open" : nullptr;
}

// Syncs (automatic runs, which rename afterwards), closes and (manual runs) names the output. False
// when the data may not be on disk.
bool CloseOutput() {
  const char* failed = wfd < 0 ? SyncEmptyOutput() : nullptr;
  if (failed == nullptr && arcdelinfo.auto_flg != 0 && ::fsync(wfd) != 0) failed = "fsync";
  if (failed == nullptr) failed = CompleteOutputFile();
  if (failed == nullptr) return true;
  FinishFailed(wfname, failed);
  if (wfd >= 0) ::close(wfd);
  wfd = -1;
  return false;
}

struct Names {
  std::string directory;
  std::string temporary;
  std::string final;
};

Names NamesOf(const char* name) {
  constexpr size_t kMaxPath = 255;
  const size_t room = kMaxPath - std::min(kMaxPath, std::strlen(name) + std::strlen(kArchivePart));
  const std::string directory = std::string(arcdelinfo.arcdir).substr(0, room) + kArchivePart;
  return {directory, directory + name, directory + FinalOf(name)};
}

// Gives a finished output its final name, which must survive a power failure too.
void NameOutput(const char* name, const Names& names) {
  const char* failed = RenameOutputFile(names.temporary.c_str(), names.final.c_str());
  output.named = failed == nullptr;
  if (failed == nullptr) failed = SyncDirectory(names.directory.c_str());
  if (failed != nullptr) FinishFailed(name, failed);
  output.durable = failed == nullptr;
}

// Takes back the first `count` names of the group: one that stood alone would keep later runs from
// making the others.
void TakeBackNames(const std::vector<Names>& names, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    static_cast<void>(RenameOutputFile(names[i].final.c_str(), names[i].temporary.c_str()));
  }
}

// All outputs of the group get their names, or none. SIGTERM waits as long, and no memory is asked
// for between the names: its lack would end the run there.
void NameGroup() {
  std::vector<Names> names;
  names.reserve(group.size());
  for (const Finished& finished : group) names.push_back(NamesOf(finished.name.c_str()));
  sigset_t terminate;
  sigset_t before;
  sigemptyset(&terminate);
  sigaddset(&terminate, SIGTERM);
  sigprocmask(SIG_BLOCK, &terminate, &before);
  bool named = std::all_of(group.begin(), group.end(), [](const Finished& f) { return f.whole; });
  // The temporary names must survive a power failure that the first final one survives: they tell
  // the next run of a group that was parted.
  if (named && group.size() > 1) {
    const char* const failed = SyncDirectory(names[0].directory.c_str());
    if (failed != nullptr) FinishFailed(group[0].name.c_str(), failed);
    named = failed == nullptr;
  }
  bool durable = named;
  for (size_t i = 0; named && i < group.size(); ++i) {
    NameOutput(group[i].name.c_str(), names[i]);
    named = output.named;
    durable = durable && output.durable;
    if (!named) TakeBackNames(names, i);
  }
  if (durable) {
    group.clear();
    ForgetWaiting();
  } else {
    LeaveGroup();
  }
  // From here on SIGTERM finds none of them.
  ReleaseOutputFile();
  sigprocmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace

bool OpenNewOutput() {
  ForgetItemCounts();
  SetSubsystemName(finfo.array_name, rfname);
  SetWriteFname(wfname);
  SetWritePath(wfname);
  return CreateAtPath(kDetOpenNew);
}

bool OpenSequel() {
  SetSequelNames();
  const bool created = CreateAtPath(kDetOpenSequel);
  // Not reached: names that lead to one archive lead to the same sequels, so the second is refused
  // before.
  if (!created) LeaveGroup();
  return created;
}

void RenameWriteFname(const char* name) {
  output.named = false;
  if (arcdelinfo.auto_flg == 0) return;
  NameOutput(name, NamesOf(name));
}

void FinishOutput(int32_t end, Followed followed) {
  const bool on_disk = CloseOutput();
  if (arcdelinfo.auto_flg != 0) {
    // Not reached: an output is made for an input.
    const bool lacking = !output.inputs.empty() && LacksInputOf(output.inputs.back(), finfo.level);
    const Shortfall shortfall = ShortfallOf(finfo.level, lacking, auto_break_flg != 0);
    group.push_back({wfname, output.inputs, on_disk && shortfall == Shortfall::kNothing});
    KeepWaiting();
    if (followed == Followed::kNo) NameGroup();
  }
  ReleaseOutputFile();
  finished_paths.emplace(wfpath);
  OutMsg(end);
  output = Output{};
}

void ForgetOutputs() {
  ReleaseOutputFile();
  ForgetWaiting();
  group.clear();
  finished_paths.clear();
  output = Output{};
}
