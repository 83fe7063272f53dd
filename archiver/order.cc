// Ordered runs: see the header.
#include "archiver/order.h"

#include <cerrno>

#include "archiver/segment.h"
#include "logdir/autotarget.h"
#include "logdir/unread.h"
#include "report/runinfo.h"

namespace {

SegmentVerdict ReadOrdered(const RunOrder& order) {
  if (order.segment < 0) return ReadSegmentBytes(order.bytes);
  arcdelinfo.shmid = order.segment;
  const SegmentVerdict verdict = ReadSegment(order.segment);
  const int error = errno;
  DetachSegment();
  errno = error;
  return verdict;
}

}  // namespace

OrderVerdict TakeOrder(const RunOrder& order, int64_t now) {
  arcdelinfo = ArcDelInfo{};
  ForgetUnread();
  arcdelinfo.mode = order.array_update ? kModeArrayUpdate : kModeSvr;
  arcdelinfo.force_flg = order.force ? 1 : 0;
  arcdelinfo.auto_flg = order.prune ? 0 : 1;
  arcdelinfo.auto2_flg = order.prune ? 1 : 0;
  if (order.prune) {
    arcdelinfo.emb_flg = static_cast<uint8_t>(order.numbers[0]);
    arcdelinfo.term_num = order.numbers[1];
    arcdelinfo.oldest_num = static_cast<uint8_t>(order.numbers[2]);
  }
  const SegmentVerdict verdict = ReadOrdered(order);
  if (verdict == SegmentVerdict::kRefused) return OrderVerdict::kRefused;
  if (verdict != SegmentVerdict::kRead) return OrderVerdict::kNoSegment;
  if (!order.prune) TakeLimits(now);
  return OrderVerdict::kReady;
}
