// What stands before a plan: the configuration read by the archiver's own functions, its clock, its
// messages caught, and the directories listed as it lists them.
#include <fmt/format.h>

#include <cstring>
#include <iterator>
#include <utility>

#include "archiver/segment.h"
#include "areas/finfo.h"
#include "logdir/autotarget.h"
#include "logdir/timespan.h"
#include "report/messages.h"
#include "report/runinfo.h"
#include "tools/output/report.h"
#include "tools/running/plan.h"

namespace psltool {

namespace {

std::vector<CaughtMessage> caught;
int64_t planned_time = 0;

int64_t PlannedTime() { return planned_time; }

bool ReadSegment(const PlanRequest& request) {
  const std::string what = fmt::format("segment {}", request.segment);
  const MessageCatcher catcher;
  arcdelinfo.shmid = request.segment;
  errno = 0;
  if (ReadConfiguration()) return true;
  const int error = errno;
  DetachSegment();
  for (const CaughtMessage& message : MessageCatcher::Take()) {
    if (message.number == 115) {
      return Fail(what, "the archiver refuses this configuration; psltool segment show tells why");
    }
  }
  return FailSegment(request.segment, error);
}

bool ReadOptions(const PlanRequest& request) {
  std::vector<char> bytes = EncodeSegment(request.config);
  shmptr = bytes.data();
  shmsize = bytes.size();
  const bool valid = GetSvrSG() == 0;
  shmptr = nullptr;
  shmsize = 0;
  return valid || Fail("plan", "the archiver refuses this configuration");
}

}  // namespace

bool SetUpPlan(const PlanRequest& request) {
  arcdelinfo = ArcDelInfo{};
  InitWorkArea();
  arcdelinfo.mode = request.array_update ? kModeArrayUpdate : kModeSvr;
  arcdelinfo.force_flg = request.force ? 1 : 0;
  arcdelinfo.auto_flg = request.prune ? 0 : 1;
  arcdelinfo.auto2_flg = request.prune ? 1 : 0;
  if (request.prune) {
    arcdelinfo.emb_flg = static_cast<uint8_t>(request.numbers[0]);
    arcdelinfo.term_num = request.numbers[1];
    arcdelinfo.oldest_num = static_cast<uint8_t>(request.numbers[2]);
  }
  if (request.segment >= 0 ? !ReadSegment(request) : !ReadOptions(request)) return false;
  for (const char* path : {arcdelinfo.arcdir, arcdelinfo.pmldir, arcdelinfo.rootdir}) {
    // Such a path is taken from the working directory of the run.
    if (path[0] != '/') return Fail(path, "the configuration names a directory without its path");
  }
  planned_time = request.now;
  clock_hook = PlannedTime;
  if (!request.prune) GetTimeSpan();
  return true;
}

std::string KeepText(int retention_class) {
  const auto at = static_cast<size_t>(retention_class);
  constexpr const char* kUnits[] = {"day", "month", "year"};
  static_assert(std::size(kUnits) == std::size(kRetentionUnits));
  // The codes ascend; a code plus its count lies below the next one.
  for (size_t i = std::size(kUnits); i-- > 0;) {
    const int32_t count = arcdelinfo.savetm[at] - kRetentionUnits[i].code;
    if (count > 0) return fmt::format("{} {}{}", count, kUnits[i], count == 1 ? "" : "s");
  }
  return "for ever";
}

MessageCatcher::MessageCatcher() {
  caught.clear();
  message_hook = [](const ArcErrInfo& info) { caught.push_back({info.msgno, info.arg}); };
}

MessageCatcher::~MessageCatcher() { message_hook = nullptr; }

std::vector<CaughtMessage> MessageCatcher::Take() { return std::exchange(caught, {}); }

}  // namespace psltool
