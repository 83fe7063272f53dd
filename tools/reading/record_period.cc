// Periods: see the header.
#include "tools/reading/record_period.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"

namespace psltool {

namespace {

uint32_t Stamp(int64_t moment) {
  return static_cast<uint32_t>(std::clamp<int64_t>(moment, 0, UINT32_MAX));
}

Civil MidnightOf(Civil civil) { return CivilOf(DateOf(civil)); }

// The day of a stamp in a day archive: one at midnight ends the day before.
Civil DayOfStamp(uint32_t stamp, Zone zone) {
  return MidnightOf(CivilAt(int64_t{stamp} - 1, zone));
}

// The moments of a period of a day archive as a zone has its day.
struct Moments {
  int64_t first;
  int64_t last;
};
Moments MomentsIn(const RecordPeriod& period, Zone zone) {
  const Moments own = {period.begin, int64_t{period.end} - (period.end > period.begin ? 1 : 0)};
  if (period.level != 'D' || zone == period.day_zone) return own;
  const int64_t shift =
      FirstMomentOf(period.day, zone) - FirstMomentOf(period.day, period.day_zone);
  const int64_t end = LastMomentOf(period.day + kSecondsOfDay - 1, zone);
  return {own.first + shift, period.whole ? end : std::min(own.last + shift, end)};
}

// "10:00"; with the offset where the reading exists twice.
std::string ClockText(int64_t moment, Zone zone, bool twice) {
  const Civil civil = CivilAt(moment, zone);
  const int64_t clock = civil - MidnightOf(civil);
  std::string text = fmt::format("{:02}:{:02}", clock / kSecondsOfHour, clock / 60 % 60);
  if (clock % 60 != 0) text += fmt::format(":{:02}", clock % 60);
  if (!twice) return text;
  const int64_t minutes = (civil - moment) / 60;
  return text + fmt::format("{}{:02}:{:02}", minutes < 0 ? '-' : '+', std::abs(minutes) / 60,
                            std::abs(minutes) % 60);
}

std::string DateText(Civil civil) {
  const CivilDate date = DateOf(civil);
  return fmt::format("{:04}-{:02}-{:02}", date.year, date.month, date.day);
}

bool IsTwice(int64_t moment, Zone zone) {
  return MomentsOf(CivilAt(moment, zone), zone).size() > 1;
}

// What ends with a day ends at 24:00. Where "-" could be taken for an offset, behind seconds or in
// an hour that exists twice, dots stand for it.
std::string SpanText(const RecordPeriod& period, Zone zone) {
  const bool twice = IsTwice(period.begin, zone) || IsTwice(period.end, zone);
  const bool dots = twice || period.begin % 60 != 0 || period.end % 60 != 0;
  const Civil begin = CivilAt(period.begin, zone);
  const bool midnight = !twice && CivilAt(period.end, zone) == MidnightOf(begin) + kSecondsOfDay;
  return fmt::format("{} {}{}{}", DateText(begin), ClockText(period.begin, zone, twice),
                     dots ? ".." : "-", midnight ? "24:00" : ClockText(period.end, zone, twice));
}

}  // namespace

RecordPeriod PeriodOf(char level, Zone day_zone, std::optional<uint32_t> before, uint32_t stamp,
                      std::optional<uint32_t> behind) {
  RecordPeriod period;
  period.level = level == 'H' || level == 'D' ? level : 'L';
  period.stamp = stamp;
  period.day_zone = day_zone;
  constexpr uint32_t kHour = kSecondsOfHour;
  const uint32_t hour = stamp - stamp % kHour;
  if (period.level == 'L') {
    const bool follows = before && *before <= stamp;
    period.begin = follows ? *before : hour;
    period.end = stamp;
    period.held = follows && *before < stamp ? *before + 1 : stamp;
    return period;
  }
  if (period.level == 'H') {
    period.begin = hour;
    period.end = Stamp(int64_t{hour} + kHour);
  } else {
    period.day = DayOfStamp(stamp, day_zone);
    period.begin = Stamp(FirstMomentOf(period.day, day_zone));
    period.end = Stamp(LastMomentOf(period.day + kSecondsOfDay - 1, day_zone) + 1);
  }
  period.held = period.begin;
  const auto is_same = [&](uint32_t other) {
    return period.level == 'H' ? other / kHour == stamp / kHour
                               : DayOfStamp(other, day_zone) == period.day;
  };
  // A stamp that goes back cuts nothing off.
  if (before && *before <= stamp && is_same(*before)) {
    period.begin = *before;
    period.held = *before + 1;
    period.whole = false;
  }
  if (behind && *behind >= stamp && is_same(*behind)) {
    period.end = stamp;
    period.whole = false;
  }
  return period;
}

bool LiesIn(const RecordPeriod& period, std::optional<uint32_t> from, std::optional<uint32_t> to,
            Zone zone) {
  if (!from && !to) return true;
  const Moments moments =
      period.level == 'L' ? Moments{period.stamp, period.stamp} : MomentsIn(period, zone);
  return (!from || moments.first >= int64_t{*from}) && (!to || moments.last <= int64_t{*to});
}

bool Holds(const RecordPeriod& period, uint32_t moment) {
  if (moment == period.stamp) return true;
  if (period.level == 'L') return period.begin < moment && moment < period.end;
  return period.begin <= moment && moment < period.end;
}

std::string PeriodText(const RecordPeriod& period, Zone zone) {
  if (period.level == 'L') return TimeText(period.stamp, zone);
  if (period.level == 'D' && period.whole) return DateText(period.day);
  return SpanText(period, period.level == 'D' ? period.day_zone : zone);
}

std::string PeriodHead(char level, Zone zone) {
  const char* const what = level == 'H' || level == 'D' ? "period" : "time";
  return fmt::format("{} ({})", what, zone == Zone::kUtc ? "UTC" : "local");
}

CoveredTime CoverOf(const RecordPeriod& period) {
  return {std::min(period.held, period.stamp), period.stamp};
}

FilePeriods::FilePeriods(const std::string& path, Zone zone)
    : reader_(path, PslReader::Reports::kKept), day_zone_(zone) {
  open_ = reader_.Open();
  if (!open_) return;
  level_ = reader_.header().level;
  const std::vector<uint8_t> file_header(reader_.record().begin(), reader_.record().end());
  opened_ = Load32(file_header.data() + kAtTime);
  Step();
  if (behind_) day_zone_ = DayZoneOf(reader_.header(), file_header, behind_->stamp, zone);
}

void FilePeriods::Step() {
  before_ = at_;
  at_ = behind_;
  behind_.reset();
  while (open_ && reader_.NextHeader()) {
    if (reader_.tag() != "STA") continue;
    behind_ = {reader_.position(), Load32(reader_.record().data() + kAtTime)};
    return;
  }
  open_ = false;
}

RecordPeriod FilePeriods::Of(uint64_t position, uint32_t stamp) {
  while (behind_ && (!at_ || at_->position < position)) Step();
  if (at_ && at_->position < position) Step();
  const auto stamp_of = [](const std::optional<Place>& place) {
    return place ? std::optional<uint32_t>(place->stamp) : std::nullopt;
  };
  // A file that changes while it is read has no neighbours to tell.
  const bool known = at_ && at_->position == position && at_->stamp == stamp;
  RecordPeriod period = PeriodOf(level_, day_zone_, known ? stamp_of(before_) : std::nullopt, stamp,
                                 known ? stamp_of(behind_) : std::nullopt);
  if (known && !before_ && opened_ <= stamp) period.held = std::max(period.held, opened_);
  return period;
}

Zone DayZoneOf(const PslHeader& header, std::span<const uint8_t> file_header, uint32_t first,
               Zone otherwise) {
  const uint32_t begin = Load32(file_header.data() + kAtTime);
  const bool dated = LayoutOf(header.revision).row.keeps_header;
  const auto fits = [&](Zone zone) {
    const Civil day = DayOfStamp(first, zone);
    if (MidnightOf(CivilAt(begin, zone)) != day) return false;
    const CivilDate date = DateOf(day);
    return !dated || (date.year == 1900 + file_header[kAtYear] &&
                      date.month == file_header[kAtMonth] + 1U && date.day == file_header[kAtDay]);
  };
  if (fits(Zone::kLocal)) return Zone::kLocal;
  return fits(Zone::kUtc) ? Zone::kUtc : otherwise;
}

}  // namespace psltool
