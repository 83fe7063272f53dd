// Reading of times: see time_text.h. A text is taken apart from left to right: a moment or a span
// in words, or a day with a clock time and a zone behind it.
#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <string_view>
#include <utility>

#include "tools/reading/time_text.h"
#include "tools/reading/time_words.h"

namespace psltool {

namespace {

// Readings, the last one included.
struct CivilSpan {
  Civil first;
  Civil last;
};

class Reader {
 public:
  Reader(const std::string& text, int64_t now, Zone zone)
      : text_(text), plain_(Plain(text)), rest_(plain_), now_(now), zone_(zone) {}

  TimeReading Read() {
    TimeReading reading;
    const bool read = ReadSeconds() || ReadWords() || ReadDay();
    if (!read || !rest_.empty()) {
      reading.why = !why_.empty() ? why_
                                  : fmt::format(
                                        "'{}' is no time like 2024-03-04, \"2024-03-04 "
                                        "10:05\", 10:05, yesterday, -7d or \"last week\"",
                                        text_);
    } else if (first_ < 0 || last_ > UINT32_MAX) {
      reading.why = fmt::format("'{}' does not lie between 1970 and 2106", text_);
    } else {
      reading.span = {static_cast<uint32_t>(first_), static_cast<uint32_t>(last_)};
    }
    return reading;
  }

 private:
  bool Take(std::string_view piece) {
    if (!rest_.starts_with(piece)) return false;
    rest_.remove_prefix(piece.size());
    return true;
  }
  // The piece as a whole word.
  bool TakeWord(std::string_view word) {
    if (!rest_.starts_with(word)) return false;
    if (rest_.size() > word.size() && std::isalpha(Letter(word.size())) != 0) return false;
    return Take(word);
  }
  unsigned char Letter(size_t at) const { return static_cast<unsigned char>(rest_[at]); }
  size_t Digits() const {
    size_t digits = 0;
    while (digits < rest_.size() && std::isdigit(Letter(digits)) != 0) ++digits;
    return digits;
  }
  // Exactly that many digits.
  int64_t Number(size_t digits) {
    int64_t number = 0;
    for (size_t i = 0; i < digits; ++i) number = 10 * number + (rest_[i] - '0');
    rest_.remove_prefix(digits);
    return number;
  }
  bool Wrong(std::string why) {
    if (why_.empty()) why_ = std::move(why);
    return false;
  }
  bool Moment(int64_t moment) {
    first_ = last_ = moment;
    return true;
  }
  bool Readings(CivilSpan span) {
    first_ = FirstMomentOf(span.first, zone_);
    last_ = LastMomentOf(span.last, zone_);
    return true;
  }

  bool ReadSeconds() {
    constexpr size_t kMost = 12;  // digits: beyond 2106, but no overflow
    constexpr size_t kLeast = 9;  // fewer are dates
    const bool marked = rest_.starts_with("@");
    const size_t digits = marked ? rest_.size() - 1 : rest_.size();
    if (digits == 0 || digits > kMost || (!marked && digits < kLeast)) return false;
    if (!std::all_of(rest_.end() - static_cast<ptrdiff_t>(digits), rest_.end(),
                     [](unsigned char c) { return std::isdigit(c) != 0; })) {
      return false;
    }
    Take("@");
    return Moment(Number(digits));
  }

  bool ReadWords() {
    if (TakeWord("now")) return Moment(now_);
    const std::string_view start = rest_;
    uint64_t count = 0;
    TimeUnit unit = TimeUnit::kDay;
    if (Take("-") && TakeAmount(count, unit) && rest_.empty()) return Ago(count, unit);
    rest_ = start;
    if (TakeAmount(count, unit) && Take(" ago")) return Ago(count, unit);
    rest_ = start;
    const bool last = Take("last ");
    if (!last && !Take("this ")) return false;
    if (last && TakeAmount(count, unit)) {
      if (!Ago(count, unit)) return false;
      last_ = now_;
      return true;
    }
    if (rest_.empty() || Digits() > 0 || !TakeUnit(unit) || unit < TimeUnit::kHour) {
      rest_ = start;
      return false;
    }
    return Whole(unit, last ? 1 : 0);
  }

  bool TakeAmount(uint64_t& count, TimeUnit& unit) {
    constexpr size_t kMost = 9;
    const size_t digits = Digits();
    if (digits == 0 || digits > kMost) return false;
    count = static_cast<uint64_t>(Number(digits));
    Take(" ");
    return TakeUnit(unit);
  }

  bool TakeUnit(TimeUnit& unit) {
    for (const auto& [each, words] : kUnits) {
      if (std::none_of(words.begin(), words.end(), [&](auto word) { return TakeWord(word); })) {
        continue;
      }
      unit = each;
      return true;
    }
    return false;
  }

  // Below a day by the seconds that pass, from a day on by the calendar.
  bool Ago(uint64_t count, TimeUnit unit) {
    constexpr int64_t kSeconds[] = {1, 60, kSecondsOfHour};
    const auto back = static_cast<int64_t>(count);
    if (unit < TimeUnit::kDay) return Moment(now_ - back * kSeconds[static_cast<size_t>(unit)]);
    return Moment(FirstMomentOf(Back(CivilAt(now_, zone_), back, unit), zone_));
  }

  static Civil Back(Civil civil, int64_t count, TimeUnit unit) {
    if (unit == TimeUnit::kHour) return civil - count * kSecondsOfHour;
    if (unit == TimeUnit::kDay) return civil - count * kSecondsOfDay;
    if (unit == TimeUnit::kWeek) return civil - 7 * count * kSecondsOfDay;
    const CivilDate date = DateOf(civil);
    const int64_t clock = civil - CivilOf(date);
    constexpr int64_t kMonthsOfYear = 12;
    const int64_t months = kMonthsOfYear * date.year + date.month - 1 -
                           count * (unit == TimeUnit::kYear ? kMonthsOfYear : 1);
    // Before 1970 is told later; years that a calendar cannot hold are not asked of it.
    if (months < 0) return -kSecondsOfDay * 366;
    CivilDate back = {months / kMonthsOfYear, static_cast<unsigned>(months % kMonthsOfYear) + 1,
                      date.day};
    back.day = std::min(back.day, DaysOfMonth(back.year, back.month));
    return CivilOf(back) + clock;
  }

  // The hour, day, week, month or year of now, or so many before it.
  bool Whole(TimeUnit unit, int64_t back) {
    const Civil now = CivilAt(now_, zone_);
    const CivilDate date = DateOf(now);
    Civil start = CivilOf(date);
    if (unit == TimeUnit::kHour) start = now - (now - start) % kSecondsOfHour;
    if (unit == TimeUnit::kWeek) start -= kSecondsOfDay * static_cast<int64_t>(WeekdayOf(now));
    if (unit == TimeUnit::kMonth) start = CivilOf({date.year, date.month, 1});
    if (unit == TimeUnit::kYear) start = CivilOf({date.year, 1, 1});
    start = Back(start, back, unit);
    return Readings({start, Back(start, -1, unit) - 1});
  }

  // A day, and what of it.
  bool ReadDay() {
    CivilSpan span = {};
    bool one_day = true;
    const bool clock_only = Digits() > 0 && Digits() <= 2;
    if (clock_only) {
      span = DayOf(CivilAt(now_, zone_));
    } else if (!TakeDayWord(span) && !TakeDate(span, one_day)) {
      return false;
    } else if (rest_.empty()) {
      return Readings(span);
    } else if (!one_day || (!Take(" at ") && !Take(" ") && !Take("t"))) {
      return false;
    }
    return ReadClock(span.first);
  }

  static CivilSpan DayOf(Civil civil) {
    const Civil start = CivilOf(DateOf(civil));
    return {start, start + kSecondsOfDay - 1};
  }

  bool TakeDayWord(CivilSpan& span) {
    const Civil now = CivilAt(now_, zone_);
    const bool yesterday = TakeWord("yesterday");
    if (yesterday || TakeWord("today")) {
      span = DayOf(now - (yesterday ? kSecondsOfDay : 0));
      return true;
    }
    const std::string_view start = rest_;
    const bool last = Take("last ");
    for (size_t i = 0; i < kWeekdays.size(); ++i) {
      if (!TakeWord(kWeekdays[i])) continue;
      int64_t back = (WeekdayOf(now) + 7 - static_cast<int64_t>(i)) % 7;
      if (last && back == 0) back = 7;
      span = DayOf(now - back * kSecondsOfDay);
      return true;
    }
    rest_ = start;
    return false;
  }

  // Year, month and day in one piece, or with "-" or "/" between them; or only the first of these.
  bool TakeDate(CivilSpan& span, bool& one_day) {
    constexpr size_t kYear = 4;
    constexpr size_t kYearAndMonth = 6;
    constexpr size_t kWhole = 8;
    const size_t digits = Digits();
    if (digits != kYear && digits != kYearAndMonth && digits != kWhole) return false;
    CivilDate date = {Number(kYear), 1, 1};
    int parts = 1;
    const char between = rest_.empty() ? '\0' : rest_.front();
    const bool apart = digits == kYear && (between == '-' || between == '/');
    for (unsigned* part : {&date.month, &date.day}) {
      if (apart && !rest_.empty() && rest_.front() == between) {
        rest_.remove_prefix(1);
        if (Digits() != 2) return false;
      } else if (apart || Digits() < 2) {
        break;
      }
      *part = static_cast<unsigned>(Number(2));
      ++parts;
    }
    one_day = parts == 3;
    if (!IsDate(date)) return false;
    const TimeUnit unit = parts == 1   ? TimeUnit::kYear
                          : parts == 2 ? TimeUnit::kMonth
                                       : TimeUnit::kDay;
    span = {CivilOf(date), Back(CivilOf(date), -1, unit) - 1};
    return true;
  }

  bool IsDate(const CivilDate& date) {
    if (date.month < 1 || date.month > kMonths.size()) {
      return Wrong(fmt::format("'{}' is no day: there is no month {}", text_, date.month));
    }
    const unsigned days = DaysOfMonth(date.year, date.month);
    if (date.day >= 1 && date.day <= days) return true;
    return Wrong(fmt::format("'{}' is no day: {} {} has {} days", text_, kMonths[date.month - 1],
                             date.year, days));
  }

  // A time of day: where it begins, and its last second within.
  bool TakeClock(CivilSpan& clock) {
    if (Digits() < 1 || Digits() > 2) return false;
    const int64_t hour = Number(Digits());
    if (!Take(":") || Digits() != 2) return false;
    const int64_t minute = Number(2);
    int64_t second = 0;
    const bool seconds = Take(":");
    if (seconds) {
      if (Digits() != 2) return false;
      second = Number(2);
      // Trace lines have milliseconds.
      if (Take(".")) rest_.remove_prefix(Digits());
    }
    const bool end_of_day = hour == 24 && minute == 0 && second == 0;
    if ((hour > 23 && !end_of_day) || minute > 59 || second > 59) {
      return Wrong(fmt::format("'{}': there is no {}:{:02}{} in a day", text_, hour, minute,
                               seconds ? fmt::format(":{:02}", second) : ""));
    }
    clock.first = hour * kSecondsOfHour + minute * 60 + second;
    clock.last = clock.first + (seconds || end_of_day ? 0 : 59);
    return true;
  }

  bool ReadClock(Civil day) {
    CivilSpan clock = {};
    const bool with_t = plain_.size() > rest_.size() && *(rest_.data() - 1) == 't';
    if (!TakeClock(clock)) return false;
    const bool minutes = clock.last != clock.first;
    const CivilSpan readings = {day + clock.first, day + clock.last};
    // "10:00-05:00" is a piece of a day, "10:00:00-05:00" and "T10:00-05:00" are in a zone. Between
    // dots, too: "01:00-04:00..01:00-05:00".
    const bool dots = rest_.find("..") != std::string_view::npos;
    if (!TakeZone(readings, !minutes || with_t || dots)) return false;
    if (!Take(dots ? ".." : "-")) return true;
    const int64_t first = first_;
    CivilSpan end = {};
    if (!TakeClock(end)) return false;
    // An hour may end on the next day; where clocks are put back it may end when it began.
    const bool next_day = end.first < clock.first || (end.first == clock.first && !dots);
    const Civil at = day + end.first + (next_day ? kSecondsOfDay : 0);
    if (!TakeZone({at, at}, dots)) return false;
    // What ends at a time that exists twice ends at the first of the two.
    last_ = first_ - 1;
    first_ = first;
    return last_ >= first_ || Wrong(fmt::format("'{}' ends before it begins", text_));
  }

  // The moments of readings, in the zone that is told behind them.
  bool TakeZone(const CivilSpan& readings, bool minus) {
    const bool at_sign = rest_.starts_with("+") || (minus && rest_.starts_with("-"));
    if (at_sign) return TakeOffset(readings);
    const std::string_view start = rest_;
    Take(" ");
    for (const std::string_view word : {"utc", "gmt", "z"}) {
      if (TakeWord(word)) return Shifted(readings, 0);
    }
    size_t letters = 0;
    while (letters < rest_.size() && std::isalpha(Letter(letters)) != 0) ++letters;
    if (letters > 0) return TakeAbbreviation(readings, letters);
    rest_ = start;
    return Readings(readings);
  }

  bool TakeOffset(const CivilSpan& readings) {
    const int64_t sign = Take("+") ? 1 : -1;
    if (sign < 0) Take("-");
    const size_t digits = Digits();
    if (digits != 2 && digits != 4) return false;
    int64_t seconds = Number(2) * kSecondsOfHour;
    if (Take(":") || digits == 4) {
      if (Digits() != 2) return false;
      seconds += Number(2) * 60;
    }
    return Shifted(readings, sign * seconds);
  }

  bool Shifted(const CivilSpan& readings, int64_t offset) {
    first_ = readings.first - offset;
    last_ = readings.last - offset;
    return true;
  }

  bool TakeAbbreviation(const CivilSpan& readings, size_t letters) {
    const std::string_view word = rest_.substr(0, letters);
    rest_.remove_prefix(letters);
    for (const int64_t moment : MomentsOf(readings.first, zone_)) {
      if (Plain(AbbreviationAt(moment, zone_)) == word) {
        return Shifted(readings, readings.first - moment);
      }
    }
    return Wrong(fmt::format(
        "'{}': clocks here show no '{}' then; a zone is told as Z, UTC or +02:00", text_, word));
  }

  const std::string& text_;
  const std::string plain_;
  std::string_view rest_;
  int64_t now_;
  Zone zone_;
  int64_t first_ = 0;
  int64_t last_ = 0;
  std::string why_;
};

}  // namespace

TimeReading ReadTime(const std::string& text, int64_t now, Zone zone) {
  return Reader(text, now, zone).Read();
}

}  // namespace psltool
