// The archive driver: streams the inputs in order into outputs, cutting them at days (hour
// archives) and months (day archives).
#include "engine/QelprfarcMain.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "areas/finfo.h"
#include "engine/family.h"
#include "engine/header.h"
#include "engine/input.h"
#include "engine/layout/layout.h"
#include "engine/names.h"
#include "engine/outname.h"
#include "engine/output.h"
#include "engine/period.h"
#include "engine/pmoncommon.h"
#include "engine/stream.h"
#include "engine/unarchived.h"
#include "platform/process.h"
#include "report/messages.h"
#include "report/runinfo.h"

namespace {

constexpr unsigned kDetSecondOpen = 0x03020002;

// Of the input read last.
std::string configured_array;
uint8_t configured_revision = 0;

bool Automatic() { return arcdelinfo.auto_flg != 0; }

// The input gives nothing to an archive in this run (automatic runs).
void LeaveUnarchived(const char* name) {
  arcdel_errflg |= 1;
  NoteUnarchived(name, finfo.level);
}

void MarkTarget(int32_t i) {
  if (finfo.target_marks != nullptr && static_cast<size_t>(i) < finfo.target_marks_size) {
    finfo.target_marks[i] = 1;
  }
}

// How a day archive in progress and the input just opened belong together. False: the input lies
// before the output's month and is passed over (automatic runs).
bool JoinDayOutput(int32_t i) {
  if (arcdelinfo.noperiod_flg != 0) {
    pmonarc_stat |= kNextDay;
    return true;
  }
  char array[sizeof finfo.array_name];
  SetSubsystemName(array, rfname);
  if (std::strcmp(array, finfo.array_name) != 0) {
    FinishOutput(i);
    pmonarc_stat = kNewOutput;
    return true;
  }
  const int months = CheckNextMonth(output.revision);
  if (months < 0) {
    LeaveUnarchived(rfname);
    finfo.record_time = lastrectime;
    return false;
  }
  if (months > 0) {
    FinishOutput(i);
    pmonarc_stat = months == 1 ? (kNewOutput | kNextDay) : kNewOutput;
  } else if (CheckNextDay(output.revision) == 1) {
    pmonarc_stat |= kNextDay;
  }
  return true;
}

// Opens, replaces or keeps the output for the input just opened. False: there is none for it.
bool ProvideOutput(int32_t i) {
  bool provided = true;
  if ((pmonarc_stat & kNewOutput) != 0) {
    provided = OpenNewOutput();
  } else if ((pmonarc_stat & kContinued) != 0 && output.revision != finfo.revision) {
    FinishOutput(i, Followed::kBySequel);
    pmonarc_stat = kNewOutput;
    provided = OpenSequel();
  }
  if (provided) output.inputs.push_back(rfname);
  return provided;
}

// The structure record in force is that of one array and revision; what comes of another must bring
// its own, or its entries would be added to resources that are not theirs.
void KeepConfigurationOf(const char* name) {
  const std::string_view array = SortedArrayOf(name);
  const bool same = configured_array == array && configured_revision == finfo.revision;
  if (!same) ForgetConfiguration();
  configured_array = array;
  configured_revision = finfo.revision;
}

// Reads the records of the open input. False when it was abandoned.
bool ReadRecords() {
  auto_break_flg = 0;
  while (Seek(rfd, 0, SEEK_CUR) < finfo.input_size) {
    auto_break_flg = 0;
    ReadNextRec();
    if (auto_break_flg != 0) return false;
  }
  return true;
}

void AbandonPeriod(bool first_of_output) {
  ForgetPeriod();
  finfo.no_statistics = true;
  // The next input is compared with the last good record; when there is none of this array yet,
  // with this input's own header.
  finfo.record_time = first_of_output ? finfo.header_time : lastrectime;
}

void ProcessInput(int32_t i, int32_t* day_inputs) {
  finfo.input_size = Seek(rfd, 0, SEEK_END);
  Seek(rfd, 0, SEEK_SET);
  lastrectime = finfo.record_time;
  ReadHeaderRec();
  if (finfo.input_level == 'D') {
    ++*day_inputs;
    MarkTarget(i);
    return;
  }
  if (finfo.level == 'D' && output.active) {
    const bool joined = JoinDayOutput(i);
    if (joined && finfo.layout->row.keeps_header) {
      std::memcpy(finfo.header_written, finfo.header_read, kLongHeader);
    }
    if (!joined) return;
  }
  if (!ProvideOutput(i)) {
    LeaveUnarchived(rfname);
    return;
  }
  KeepConfigurationOf(rfname);
  if (ReadRecords()) {
    if (!finfo.no_statistics) DispatchOf(finfo.revision).flush_at_end();
  } else {
    LeaveUnarchived(rfname);
    AbandonPeriod(output.inputs.size() == 1);
  }
  if (finfo.level == 'D') {
    pmonarc_stat = kContinued;
  } else if (i + 1 < Ntarget && CheckSameDay(TargetList[i], TargetList[i + 1]) == 0) {
    pmonarc_stat = kContinued;
  } else {
    FinishOutput(i + 1);
    pmonarc_stat = kNewOutput;
  }
}

// An hour output goes on only with inputs of its own day; between them a target may have failed to
// open or been passed over. An output that was truncated after a broken record takes nothing more.
// Returns true when the target is to be passed over.
bool EndHourOutputBefore(int32_t i) {
  if (finfo.level != 'H' || !output.active) return false;
  if (CheckSameDay(output.inputs.back(), TargetList[i]) == 0) {
    if (wfd < 0) LeaveUnarchived(TargetList[i]);
    return wfd < 0;
  }
  FinishOutput(i);
  pmonarc_stat = kNewOutput;
  return false;
}

}  // namespace

void InitArchiver() { pmonarc_stat = kNewOutput; }

void EndArchive() {}

void ArcMain() {
  pmonarc_stat = kNewOutput;
  finfo.continuation_switch = 1;
  finfo.no_statistics = true;
  configured_array.clear();
  configured_revision = 0;
  ForgetInputs();
  ForgetOutputs();
  if (arcdelinfo.noperiod_flg == 0) {
    std::qsort(static_cast<void*>(TargetList), static_cast<size_t>(Ntarget), sizeof *TargetList,
               FSortFunc);
  }
  CheckInputs();
  Rev_Kind = 0;
  int32_t day_inputs = 0;
  for (int32_t i = 0; i < Ntarget; ++i) {
    if (TargetList[i] == nullptr || EndHourOutputBefore(i)) continue;
    if (!OpenInput(TargetList[i], kDetSecondOpen)) continue;
    ProcessInput(i, &day_inputs);
    CloseInput();
  }
  if (output.active) FinishOutput(Ntarget);
  rfname = nullptr;
  if (Ntarget > 0 && day_inputs == Ntarget) {
    LogMessage(107, nullptr);
    if (!Automatic()) EndProcess(1);
  }
}

void InitWorkArea() {
  constexpr size_t kNameSize = 1024;
  finfo = FileInfo{};
  if (wfname == nullptr) wfname = static_cast<char*>(Malloc(kNameSize));
  std::memset(wfname, 0, kNameSize);
}

void MemoryFree() {
  FreeResources();
  // In manual file runs the target list is the argument vector itself.
  if (FlistBuf != nullptr) std::free(static_cast<void*>(TargetList));
  std::free(static_cast<void*>(Flist));
  std::free(FlistBuf);
  std::free(finfo.target_marks);
  std::free(finfo.header_read);
  std::free(finfo.header_written);
  TargetList = nullptr;
  Ntarget = 0;
  Flist = nullptr;
  FlistBuf = nullptr;
  Nfile = 0;
  rfname = nullptr;
  finfo.target_marks = nullptr;
  finfo.target_marks_size = 0;
  finfo.header_read = nullptr;
  finfo.header_written = nullptr;
  finfo.layout = nullptr;
}
