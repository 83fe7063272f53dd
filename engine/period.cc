// Period tests between inputs. Up to revision 0x1C, and in automatic runs, record times by local
// time decide; manual runs of newer files compare the dates that the file headers carry.
#include "engine/period.h"

#include <ctime>

#include "areas/finfo.h"
#include "engine/broken.h"
#include "engine/header.h"
#include "engine/layout/layout.h"
#include "engine/names.h"
#include "platform/QelHP2Sol.h"
#include "report/messages.h"
#include "report/runinfo.h"

namespace {

std::tm LocalTime(int64_t seconds) {
  const std::time_t t = seconds;
  std::tm broken_down = {};
  ::localtime_r(&t, &broken_down);
  return broken_down;
}

FileDate LocalDate(int64_t seconds) {
  const std::tm local = LocalTime(seconds);
  return {local.tm_year, local.tm_mon, local.tm_mday};
}

bool DatesFromHeaders() { return arcdelinfo.auto_flg == 0 && finfo.layout->row.keeps_header; }

bool KeepsHeader(uint8_t revision) {
  return KnownRevision(revision) && LayoutOf(revision).row.keeps_header;
}

// The date against which the header read last is compared.
FileDate PreviousDate(uint8_t previous_revision) {
  if (KeepsHeader(previous_revision)) return DateOf(finfo.header_written);
  return LocalDate(finfo.record_time);
}

int MonthsFromLast(uint8_t previous_revision) {
  if (!DatesFromHeaders()) {
    return MonthsBetween(LocalDate(finfo.previous_time), LocalDate(finfo.record_time));
  }
  return MonthsBetween(PreviousDate(previous_revision), DateOf(finfo.header_read));
}

int DaysFromLast(uint8_t previous_revision) {
  if (!DatesFromHeaders()) {
    const std::tm now = LocalTime(finfo.record_time);
    const std::tm before = LocalTime(finfo.previous_time);
    const int days = now.tm_yday - before.tm_yday;
    return days < 0 && now.tm_year > before.tm_year ? 1 : days;
  }
  const int days = 30 * MonthsFromLast(previous_revision);
  if (days != 0) return days;
  return DateOf(finfo.header_read).day - PreviousDate(previous_revision).day;
}

}  // namespace

int CheckSameDay(const char* name1, const char* name2) {
  if (name1 == nullptr || name2 == nullptr) return 1;
  const size_t length = DayPathOf(name1).size();
  if (length != DayPathOf(name2).size()) return 1;
  return QelSol_strncmp(name1, name2, length) == 0 ? 0 : 1;
}

int MonthsBetween(const FileDate& before, const FileDate& now) {
  return now.month - before.month + 12 * (now.year - before.year);
}

Distance DistanceFromLast(uint8_t previous_revision) {
  return {MonthsFromLast(previous_revision), DaysFromLast(previous_revision)};
}

int CheckNextMonth(uint8_t previous_revision) {
  const int months = MonthsFromLast(previous_revision);
  if (months >= 0) return months;
  BrokenRecord("the month lies before that of the output");
  return -1;
}

int CheckNextDay(uint8_t previous_revision) {
  const int days = DaysFromLast(previous_revision);
  if (days >= 0) return days;
  // An automatic run goes on with this input, so it is not marked as abandoned.
  const int32_t verdict = auto_break_flg;
  BrokenRecord("the day lies before that of the last input");
  auto_break_flg = verdict;
  return -1;
}
