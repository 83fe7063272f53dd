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
#include "engine/joining.h"
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
  unarchived.Note(name, finfo.level);
}

void MarkTarget(int32_t i) {
  // Not reached: every list of targets comes with its marks.
  if (finfo.target_marks == nullptr) return;
  finfo.target_marks[i] = 1;
}

JoinRules RulesOfRun() { return {finfo.level, arcdelinfo.noperiod_flg != 0}; }

JoinState StateOfOutput() {
  return {output.active, wfd < 0, output.revision, finfo.array_name,
          output.inputs.empty() ? nullptr : output.inputs.back()};
}

// Of the input whose header was read just now. `array` gets its array, which day archives are cut
// at; a name without one ends the run.
InputFacts FactsOfInput(const JoinRules& rules, char (&array)[sizeof finfo.array_name]) {
  InputFacts facts = {finfo.input_level, finfo.revision, "", 0, 0};
  if (rules.level != 'D' || rules.no_period || !output.active || facts.level == 'D') return facts;
  SetSubsystemName(array, rfname);
  facts.array = array;
  if (facts.array != finfo.array_name) return facts;
  const Distance distance = DistanceFromLast(output.revision);
  facts.months = distance.months;
  facts.days = distance.days;
  // Both report an order that goes back.
  if (facts.months < 0) CheckNextMonth(output.revision);
  if (facts.months == 0 && facts.days < 0) CheckNextDay(output.revision);
  return facts;
}

void EndOutput(int32_t i, Followed followed = Followed::kNo) {
  FinishOutput(i, followed);
  pmonarc_stat = kNewOutput;
}

// Opens, replaces or keeps the output for the input just opened, as it joins. False: there is none
// for it.
bool ProvideOutput(int32_t i, Joining joining, bool next_day) {
  bool provided = true;
  if (joining == Joining::kSequel) {
    EndOutput(i, Followed::kBySequel);
    provided = OpenSequel();
  } else if (joining == Joining::kStartsNew) {
    if (output.active) EndOutput(i);
    if (next_day) pmonarc_stat |= kNextDay;
    provided = OpenNewOutput();
  } else if (next_day) {
    pmonarc_stat |= kNextDay;
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
  StartInput(finfo.layout->row.file_header);
  while (finfo.position < finfo.input_size) {
    auto_break_flg = 0;
    ReadNextRec();
    if (auto_break_flg != 0) return false;
  }
  return true;
}

void AbandonPeriod(bool first_of_output) {
  ForgetPeriod();
  finfo.no_statistics = true;
  finfo.record_time = TimeBehindAbandoned(first_of_output, finfo.header_time, lastrectime);
}

void ProcessInput(int32_t i, int32_t* day_inputs) {
  finfo.input_size = Seek(rfd, 0, SEEK_END);
  Seek(rfd, 0, SEEK_SET);
  lastrectime = finfo.record_time;
  ReadHeaderRec();
  const JoinRules rules = RulesOfRun();
  const JoinState state = StateOfOutput();
  char array[sizeof finfo.array_name] = "";
  const InputFacts facts = FactsOfInput(rules, array);
  const Joining joining = Join(rules, state, facts);
  if (joining == Joining::kDayArchive) {
    ++*day_inputs;
    MarkTarget(i);
    return;
  }
  if (joining == Joining::kBefore) {
    LeaveUnarchived(rfname);
    finfo.record_time = lastrectime;
    return;
  }
  // What the inputs behind it are compared with. A new output keeps its header by itself.
  if (joining == Joining::kJoins && rules.level == 'D' && finfo.layout->row.keeps_header) {
    std::memcpy(finfo.header_written, finfo.header_read, kLongHeader);
  }
  if (!ProvideOutput(i, joining, IsOfNextDay(rules, state, facts))) {
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
  if (EndsBehind(rules, TargetList[i], i + 1 < Ntarget ? TargetList[i + 1] : nullptr)) {
    EndOutput(i + 1);
  } else {
    pmonarc_stat = kContinued;
  }
}

// Ends an output that cannot go on with this target. True: the target is to be passed over.
bool EndOutputBefore(int32_t i) {
  const Joining joining = JoinByName(RulesOfRun(), StateOfOutput(), TargetList[i]);
  if (joining == Joining::kStartsNew && output.active) EndOutput(i);
  if (joining == Joining::kAfterBroken) LeaveUnarchived(TargetList[i]);
  return joining == Joining::kAfterBroken;
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
    if (TargetList[i] == nullptr || EndOutputBefore(i)) continue;
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
