// Whether a mode acts, from the totals. Sizes are compared in floating point, like everywhere in
// the monitor.
#include "pmonb/pml_work.h"

namespace {

constexpr PmlVerdict kAct = {true, kPmlDone};
constexpr PmlVerdict kNothingNeeded = {false, kPmlDone};
constexpr PmlVerdict kNothingToActOn = {false, kPmlNothingToDo};

// Deletion by number leaves directories with up to so many logs alone. It is no number that stays:
// of one log more all may go, if so many are to be deleted.
constexpr uint32_t kTooFewToDelete = 7;

double Bytes(uint32_t high, uint32_t low) {
  return static_cast<double>(high) * 4294967296.0 + static_cast<double>(low);
}

double Limit(const PmlDelParam& param) { return Bytes(param.limit_hi, param.limit_lo); }

}  // namespace

double Headroom(const PmlDelParam& param) {
  return Limit(param) - Bytes(param.total_hi, param.total_lo);
}

PmlVerdict DecideNothing(const PmlWork& /*work*/) { return kNothingNeeded; }

PmlVerdict DecideAlways(const PmlWork& /*work*/) { return kAct; }

PmlVerdict DecideByHeadroom(const PmlWork& work) {
  const PmlDelParam& param = *work.param;
  if (param.margin > Limit(param)) return kNothingToActOn;
  return Headroom(param) <= param.margin ? kAct : kNothingNeeded;
}

PmlVerdict DecideByNumber(const PmlWork& work) {
  return work.param->file_count > kTooFewToDelete ? kAct : kNothingNeeded;
}

PmlVerdict DecideByLimit(const PmlWork& work) {
  return Headroom(*work.param) < 0 ? kAct : kNothingNeeded;
}

PmlVerdict ReportHeadroom(const PmlWork& work) {
  const PmlDelParam& param = *work.param;
  const int result = Headroom(param) <= param.margin ? kPmlNoHeadroom : kPmlDone;
  return {false, result};
}

PmlVerdict Decide(const PmlWork& work) {
  const PmlVerdict verdict = work.mode->decide(work);
  if (verdict.act && work.param->file_count == 0) return kNothingToActOn;
  return verdict;
}
