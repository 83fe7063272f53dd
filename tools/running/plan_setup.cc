// What stands before a plan: the run as it is ordered, which the archiver itself brings into its
// work areas.
#include <fmt/format.h>

#include <cerrno>
#include <iterator>

#include "archiver/order.h"
#include "archiver/segment_layout.h"
#include "report/runinfo.h"
#include "tools/output/report.h"
#include "tools/output/text_out.h"
#include "tools/running/plan.h"

namespace psltool {

bool SetUpPlan(const PlanRequest& request) {
  RunOrder order = {request.array_update, request.force,   request.prune,
                    request.numbers,      request.segment, {}};
  if (request.segment < 0) order.bytes = EncodeSegment(request.config);
  switch (TakeOrder(order, request.now)) {
    case OrderVerdict::kReady:
      break;
    case OrderVerdict::kNoSegment:
      return FailSegment(request.segment, errno);
    case OrderVerdict::kRefused:
      if (request.segment < 0) return Fail("plan", "the archiver refuses this configuration");
      return Fail(fmt::format("segment {}", request.segment),
                  "the archiver refuses this configuration; psltool segment show tells why");
  }
  for (const char* path : {arcdelinfo.arcdir, arcdelinfo.pmldir, arcdelinfo.rootdir}) {
    // Such a path is taken from the working directory of the run.
    if (path[0] != '/') return Fail(path, "the configuration names a directory without its path");
  }
  return true;
}

std::string KeepText(int retention_class) {
  const auto at = static_cast<size_t>(retention_class);
  constexpr const char* kUnits[] = {"day", "month", "year"};
  static_assert(std::size(kUnits) == std::size(kRetentionUnits));
  // The codes ascend; a code plus its count lies below the next one.
  for (size_t i = std::size(kUnits); i-- > 0;) {
    const int32_t count = arcdelinfo.savetm[at] - kRetentionUnits[i].code;
    if (count > 0) return Counted(static_cast<uint64_t>(count), kUnits[i]);
  }
  return "for ever";
}

}  // namespace psltool
