// Dangers of pruning: see the header.
#include "tools/running/plan_dangers.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <map>
#include <string_view>
#include <utility>

#include "engine/names.h"
#include "pmonb/pml_calls.h"
#include "report/runinfo.h"

namespace psltool {

namespace {

constexpr int8_t kMove = 9;
constexpr uint32_t kFirstOfTenDigits = 100000;  // 2010 as YYMMDD has all six digits

// The day of a date YYMMDD, nothing when it is no date.
std::optional<std::chrono::sys_days> DayOf(uint32_t date) {
  using namespace std::chrono;
  const year_month_day day = year(static_cast<int>(2000 + date / 10000)) / month(date / 100 % 100) /
                             std::chrono::day(date % 100);
  if (!day.ok()) return std::nullopt;
  return sys_days(day);
}

std::string DateText(uint32_t date) {
  return fmt::format("20{:02}-{:02}-{:02}", date / 10000, date / 100 % 100, date % 100);
}

struct Count {
  size_t valid = 0;
  size_t going = 0;
};

Count CountValid(const PmlWork& work, uint32_t first, uint32_t end) {
  Count count;
  for (uint32_t i = first; i < end; ++i) {
    if (work.files[i].valid == 0) continue;
    ++count.valid;
    count.going += work.files[i].selected;
  }
  return count;
}

// What is odd about the newest date of a directory; empty when nothing is.
std::string OddDate(uint32_t newest, uint32_t today) {
  const auto day = DayOf(newest);
  const std::string log = "its newest log is dated " + DateText(newest);
  if (newest < kFirstOfTenDigits) {
    return log + ": dates of 2000 to 2009 are cut at the wrong places, and the limit lies far off";
  }
  if (!day) return log + ", which is no date; days are counted back from there";
  const auto now = DayOf(today);
  const auto days = now ? (*now - *day).count() : 0;
  if (days < -1) return log + ", after today; days are counted back from there";
  if (days > 1) {
    return fmt::format("{}, {} days ago; days are counted back from there, not from today", log,
                       days);
  }
  return "";
}

void NoteDates(const PmlWork& work, uint32_t today, Plan& plan) {
  uint32_t first = 0;
  for (uint32_t i = 0; i < work.dir_count; ++i) {
    const PmlDirEntry& dir = work.dirs[i];
    const uint32_t end = first + dir.files;
    const Count count = CountValid(work, first, end);
    first = end;
    if (count.valid == 0) continue;
    const std::string odd = OddDate(dir.newest_date, today);
    const bool all = count.going == count.valid;
    if (odd.empty() && !all) continue;
    plan.warnings.push_back(
        fmt::format("{:02X}: {}{}", work.first_dir + i, odd,
                    all ? fmt::format("{}all {} logs go, the newest included",
                                      odd.empty() ? "" : "; ", count.valid)
                        : fmt::format("; {} of {} logs go", count.going, count.valid)));
  }
}

void NoteForeignNames(const PmlWork& work, Plan& plan) {
  std::map<std::string, std::pair<size_t, std::string>> causes;
  for (uint32_t i = 0; i < work.listed; ++i) {
    const PmlFileEntry& file = work.files[i];
    if (file.valid != 0) continue;
    const std::string_view path = file.path;
    auto& [count, first] = causes[ForeignNameText(std::string(BaseName(path)))];
    if (count++ == 0) first = path;
  }
  for (const auto& [cause, files] : causes) {
    plan.warnings.push_back(
        fmt::format("{} file{} with every task, whatever the age, one being written included: {} "
                    "(the first: {})",
                    files.first, files.first == 1 ? " goes" : "s go", cause, files.second));
  }
}

void NoteAllGone(const PmlWork& work, Plan& plan) {
  const Count count = CountValid(work, 0, work.listed);
  if (count.valid == 0 || count.going < count.valid) return;
  plan.warnings.push_back(fmt::format("all {} logs go, the newest included: {}", count.valid,
                                      work.mode->code == kToLimit
                                          ? "together they do not fit the volume"
                                          : "of 8 and more files any number may go"));
}

// Files of foreign names go too, but the choice of the others does not reckon with it.
void NoteRoomOfForeign(const PmlWork& work, Plan& plan) {
  uint64_t room = 0;
  for (uint32_t i = 0; i < work.listed; ++i) {
    const PmlFileEntry& file = work.files[i];
    if (file.valid == 0) room += (uint64_t{file.size_hi} << 32) + file.size;
  }
  if (room == 0 || CountValid(work, 0, work.listed).going == 0) return;
  plan.warnings.push_back(
      fmt::format("files of other names that go hold {}, which does not count as freed: more logs "
                  "go than the volume asks for",
                  SizeText(static_cast<int64_t>(room))));
}

}  // namespace

std::string ForeignNameText(const std::string& name) {
  switch (JudgePmlName(name)) {
    case PmlShape::kNoDate:
      return "the name does not begin with a date";
    case PmlShape::kNoArray:
      return "the name has no \"#\" behind an array's name";
    case PmlShape::kHashInArray:
      return "the array's name has a \"#\"";
    case PmlShape::kLongArray:
      return fmt::format("the array's name has more than {} characters", kLongestPmlArray);
    default:
      return "the name does not end in \"#nnn_nnn.pml\"";
  }
}

void NoteDangers(const PmlWork& work, uint32_t today, Plan& plan) {
  if (work.mode->code == kMove) return;
  NoteForeignNames(work, plan);
  if (work.mode->code == kByAge) {
    NoteDates(work, today, plan);
  } else {
    NoteAllGone(work, plan);
  }
  if (work.mode->code == kToLimit) NoteRoomOfForeign(work, plan);
}

void NoteSurroundings(Plan& plan) {
  const std::string_view base = arcdelinfo.pmldir;
  if (base.find_first_not_of('/') == std::string_view::npos) {
    plan.warnings.emplace_back(
        "the PML directory of the configuration is empty, or the root directory: nothing is "
        "pruned");
  }
  const char* const value = getenv("QelPMON_EMBSYSVOL");
  if (value == nullptr) return;
  if (std::string_view(value) == "no") {
    plan.warnings.emplace_back(
        "QelPMON_EMBSYSVOL is \"no\" here: a run that finds it so prunes nothing, not by age or "
        "number either");
  } else if (std::string_view(value) == "yes") {
    plan.warnings.emplace_back(
        "QelPMON_EMBSYSVOL is \"yes\" here: a run that finds it so takes volumes for mounted, "
        "whatever is there");
  }
}

}  // namespace psltool
