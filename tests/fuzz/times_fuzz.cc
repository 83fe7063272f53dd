// Times and periods as people write them, for the archiver and for psltool.
#include <fmt/format.h>

#include <cstdlib>
#include <ctime>

#include "archiver/options.h"
#include "archiver/segment_layout.h"
#include "logdir/timespan.h"
#include "report/runinfo.h"
#include "tests/fuzz/target.h"
#include "tests/support/run_state.h"
#include "tools/reading/time_text.h"
#include "tools/running/segment_config.h"

namespace fuzz {

namespace {

using psltool::Zone;

int64_t now = 0;

std::string ReadBack(const std::string& text, Zone zone, uint32_t stamp) {
  const psltool::TimeReading reading = psltool::ReadTime(text, now, zone);
  if (!reading.span) return fmt::format("'{}' is printed and not read: {}", text, reading.why);
  // A time without seconds of its own is none of these.
  return reading.span->first == stamp && reading.span->last == stamp
             ? ""
             : fmt::format("'{}' is printed for {} and read as {}..{}", text, stamp,
                           reading.span->first, reading.span->last);
}

std::string PsltoolTime(const std::string& text, Zone zone) {
  const psltool::TimeReading reading = psltool::ReadTime(text, now, zone);
  if (!reading.span) return reading.why.empty() ? "refused without a word" : "";
  if (reading.span->first > reading.span->last) return "a span ends before it begins";
  std::string wrong;
  for (const uint32_t stamp : {reading.span->first, reading.span->last}) {
    if (wrong.empty()) wrong = ReadBack(psltool::TimeText(stamp, zone), zone, stamp);
    if (wrong.empty()) wrong = ReadBack(psltool::IsoTimeText(stamp, zone), zone, stamp);
  }
  return wrong;
}

std::string ArchiverTime(const std::string& text) {
  clock_hook = [] { return now; };
  arcdelinfo.ext_flg = 1;  // refusals go to the trace, which is not set
  const int status = StatusOf([&text] { SetTimeSpan(text.c_str()); });
  clock_hook = nullptr;
  if (status != kReturned) return status == 1 ? "" : "another status";
  // "0y" in an hour that a clock put back repeats means either of the two.
  constexpr int64_t kRepeated = 3600;
  return StartTime <= EndTime && EndTime <= now + kRepeated
             ? ""
             : "a span ends before it begins, or after now";
}

std::string Numbers(const std::string& text) {
  int64_t value = -1;
  const bool number = ParseNumber(text.c_str(), 255, &value);
  if (number != (value >= 0 && value <= 255)) return "a number out of range";
  const auto keep = psltool::ParseRetention(text);
  if (!keep || !IsRetention(keep->count, keep->unit, 0)) return "";
  const auto again = psltool::ParseRetention(psltool::RetentionText(*keep));
  return again && again->count == keep->count && (keep->count == 0 || again->unit == keep->unit)
             ? ""
             : "a period is read otherwise than written";
}

}  // namespace

std::string Times(Input input) {
  // Clocks are put forward and back here.
  static const bool zone_set = setenv("TZ", "Europe/Berlin", 1) == 0;
  static_cast<void>(zone_set);
  constexpr size_t kMost = 120;
  Taker taker(input);
  now = taker.Word();
  const std::string text = std::string(taker.Text(kMost).c_str());
  std::string wrong = PsltoolTime(text, Zone::kLocal);
  if (wrong.empty()) wrong = PsltoolTime(text, Zone::kUtc);
  if (wrong.empty()) wrong = ArchiverTime(text);
  return wrong.empty() ? Numbers(text) : wrong;
}

}  // namespace fuzz
