// Whole months and a year of nights: the archive directory must keep itself as the rules say, night
// by night, faults included.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "tests/model/nights.h"
#include "tests/model/slow_archiver.h"
#include "tests/support/run_state.h"
#include "tests/support/runs/nights.h"

namespace {

namespace fs = std::filesystem;
using model::ArchiveSort;
using model::LogState;
using std::chrono::days;

constexpr char kBerlin[] = "Europe/Berlin";

struct NightNames {
  std::vector<std::string> logs;
  std::map<std::string, ArchiveSort> archives;
  bool operator==(const NightNames&) const = default;
};

void PrintTo(const NightNames& names, std::ostream* out) {
  for (const std::string& name : names.logs) *out << name << "\n";
  for (const auto& [name, kind] : names.archives) {
    *out << name << (kind == ArchiveSort::kEmptyHour ? " (empty)\n" : "\n");
  }
}

NightNames NamesOf(const model::Files& files) {
  NightNames names;
  for (const auto& [name, state] : files.logs) names.logs.push_back(name);
  names.archives = files.archives;
  return names;
}

// What lies in the directories. A name that is no archive stands as a log, where no model has it.
NightNames NamesOf(const TestServer& server) {
  NightNames names;
  for (const std::string& name : server.directory.Names("arc")) {
    if (name != "archive") names.logs.push_back(name);
  }
  if (!server.directory.Exists("arc/archive")) return names;
  for (const std::string& name : server.directory.Names("arc/archive")) {
    char head[13] = "";
    const std::string path = server.directory.Path("arc/archive/" + name);
    const int fd = open(path.c_str(), O_RDONLY);
    const ssize_t count = read(fd, head, sizeof head);
    close(fd);
    if (!name.ends_with(".psa")) {
      names.logs.push_back(name);
    } else if (count == 0) {
      names.archives[name] = ArchiveSort::kEmptyHour;
    } else {
      names.archives[name] = head[12] == 'D' ? ArchiveSort::kDay : ArchiveSort::kHour;
    }
  }
  return names;
}

std::string TimeText(model::Date date, int second) {
  const std::string digits = model::Digits(date);
  char text[32];
  snprintf(text, sizeof text, "%s-%s-%s %02d:%02d:%02d", digits.substr(0, 4).c_str(),
           digits.substr(4, 2).c_str(), digits.substr(6, 2).c_str(), second / 3600,
           second / 60 % 60, second % 60);
  return text;
}

std::string Joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : " ") + name;
  return text.empty() ? "-" : text;
}

class LongPrefixNights : public ::testing::Test {
 protected:
  void SetUp() override { SKIP_WITHOUT_PRELOADING(); }

  // Moves the logs of a day from where they were made. Returns their names.
  std::vector<std::string> Deliver(model::Date date) {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(made.Path())) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with(model::Digits(date))) names.push_back(name);
    }
    for (const std::string& name : names) {
      fs::rename(made.Path(name), server.directory.Path("arc/" + name));
      files.logs[name] = LogState::kGood;
    }
    return names;
  }

  // Puts retention into the segment and the model's settings.
  void Keep(size_t retention_class, int count, char unit) {
    server.segment.PutRetention(retention_class, static_cast<uint16_t>(count),
                                unit == 'd'   ? uint16_t{0}
                                : unit == 'm' ? uint16_t{1}
                                              : uint16_t{2});
    model::Keep* const keeps[] = {&settings.logs, &settings.hours, &settings.days};
    *keeps[retention_class] = {count, unit};
  }

  TempDir made;
  TestServer server;
  model::NightSettings settings;
  model::Files files;
};

TEST_F(LongPrefixNights, MonthFromAnEmptyDirectoryToADayArchive) {
  const TimeZone zone("UTC");
  MakeLogs(made.Path(), {"--name", "array", "--start", "2024-02-01", "--days", "33"});
  Keep(0, 10, 'd');
  Keep(1, 1, 'm');
  std::vector<model::InputFile> logs;
  std::vector<model::InputFile> hours;
  const model::Date first = model::DateOf("20240201");
  for (model::Date today = first; today <= first + days(32); today += days(1)) {
    if (today > first) Deliver(today - days(1));
    for (const auto& [name, bytes] : FilesOf(server)) {
      if (name.starts_with(model::Digits(today - days(1)))) {
        logs.push_back({name, {bytes.begin(), bytes.end()}});
      }
    }
    const ProgramResult run = RunNight(server, ClockAt(TimeText(today, 1800)));
    ASSERT_EQ(run.status, 0) << run.err;
    const model::NightResult night = SimulateNight({today, 1800}, settings, &files);
    ASSERT_EQ(NamesOf(server), NamesOf(files)) << model::Digits(today);
    printf("night %s  made: %s  removed: %s\n", TimeText(today, 1800).c_str(),
           Joined(night.made).c_str(), Joined(night.removed).c_str());
    for (const std::string& name : night.made) {
      const std::string bytes = server.directory.Read("arc/archive/" + name);
      if (name.size() == std::string("20240201array.psa").size()) {
        // Content by the second implementation of archiving.
        const auto expected = model::Archive({logs.back()}, 'L');
        ASSERT_TRUE(expected.contains(name)) << name;
        EXPECT_EQ(std::string(expected.at(name).begin(), expected.at(name).end()), bytes) << name;
        if (name.starts_with("202402")) hours.push_back({name, {bytes.begin(), bytes.end()}});
      }
    }
  }
  ASSERT_EQ(hours.size(), 29u);
  const auto expected = model::Archive(hours, 'D');
  ASSERT_EQ(expected.size(), 1u);
  const auto& bytes = expected.at("202402array.psa");
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()),
            server.directory.Read("arc/archive/202402array.psa"));
}

// --- A year with faults ---------------------------------------------------------------------------

class LongPrefixYear : public LongPrefixNights {
 protected:
  void MakeYear() {
    const auto make = [this](const char* name, const char* revision, const char* parts) {
      MakeLogs(made.Path(),
               {"--name", name, "--revision", revision, "--files-per-day", parts, "--local",
                "--interval", "3600", "--start", "2024-01-01", "--days", "366"},
               kBerlin);
    };
    make("a", "0x21", "1");
    make("b", "0x1A", "2");
    make("c", "0x17", "1");
  }

  void Spoil(const std::string& name, LogState state) {
    const std::string path = server.directory.Path("arc/" + name);
    const auto size = fs::file_size(path);
    switch (state) {
      case LogState::kBroken:
        // Every second one has a false record, the others end in the middle of one.
        if (std::uniform_int_distribution<int>(0, 1)(random) == 0) {
          fs::resize_file(path, size - 100);
        } else {
          Overwrite(path, name.find("c.") == std::string::npos ? 256 : 80, "XYZ");
        }
        break;
      case LogState::kHeadless:
        fs::resize_file(path, 40);
        break;
      case LogState::kEmpty:
        fs::resize_file(path, 0);
        break;
      case LogState::kOld:
        Overwrite(path, 3, "\x16");
        break;
      case LogState::kUnreadable:  // by FailingCalls
      case LogState::kGood:
        break;
    }
    files.logs[name] = state;
  }

  static void Overwrite(const std::string& path, off_t at, const std::string& bytes) {
    const int fd = open(path.c_str(), O_WRONLY);
    ASSERT_EQ(pwrite(fd, bytes.data(), bytes.size(), at), static_cast<ssize_t>(bytes.size()));
    close(fd);
  }

  // What keeps the archiver from its unreadable logs. (Permissions do not keep root away.)
  Variables FailingCalls() const {
    std::string rules;
    for (const auto& [name, state] : files.logs) {
      if (state == LogState::kUnreadable) rules += "open:/" + name + ":1:9999:13;";
    }
    return {{"DISTURB_FAIL", rules}};
  }

  // Some logs can be read again.
  void GiveBackRights() {
    for (auto& [name, state] : files.logs) {
      if (state == LogState::kUnreadable && OneIn(20)) state = LogState::kGood;
    }
  }

  bool OneIn(int count) { return std::uniform_int_distribution<int>(0, count - 1)(random) == 0; }

  // Arrival of a day: one file in twelve has a fault.
  void DeliverWithFaults(model::Date date) {
    constexpr LogState kFaults[] = {LogState::kBroken, LogState::kBroken,     LogState::kHeadless,
                                    LogState::kEmpty,  LogState::kUnreadable, LogState::kOld};
    std::vector<std::string> names = Deliver(date);
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) {
      if (std::uniform_int_distribution<int>(0, 11)(random) != 0) continue;
      Spoil(name, kFaults[std::uniform_int_distribution<size_t>(0, 5)(random)]);
    }
  }

  void RunAndCompare(model::Date today, int second) {
    const Clock clock = ClockAt(TimeText(today, second), kBerlin);
    if (std::uniform_int_distribution<int>(0, 9)(random) == 0) {
      // This night's first attempt is killed somewhere; the second must end as if it had not been.
      const int at = std::uniform_int_distribution<int>(1, 120)(random);
      Variables disturb = FailingCalls();
      disturb.emplace_back("DISTURB_SIGNAL", "9");
      disturb.emplace_back("DISTURB_AT", std::to_string(at));
      RunNight(server, clock, disturb);
    }
    const ProgramResult run = RunNight(server, clock, FailingCalls());
    ASSERT_EQ(run.status, 0) << run.err;
    SimulateNight({today, second}, settings, &files);
    ASSERT_EQ(NamesOf(server), NamesOf(files)) << TimeText(today, second);
  }

  std::mt19937 random{20240101};
};

TEST_F(LongPrefixYear, ThreeArraysWithFaultsMissedAndKilledNights) {
  MakeYear();
  Keep(0, 40, 'd');
  Keep(1, 3, 'm');
  Keep(2, 6, 'm');
  const model::Date first = model::DateOf("20240101");
  int nights = 0;
  for (model::Date today = first + days(1); today <= first + days(366); today += days(1)) {
    DeliverWithFaults(today - days(1));
    GiveBackRights();
    if (today == model::DateOf("20240715")) {
      Keep(0, 20, 'd');
      Keep(1, 1, 'm');
      Keep(2, 4, 'm');
    }
    // For some weeks the server only deletes.
    settings.archiving = today < model::DateOf("20240901") || today > model::DateOf("20240920");
    server.segment.PutArchivingSwitch(settings.archiving ? 1 : 0);
    if (std::uniform_int_distribution<int>(0, 19)(random) == 0) continue;  // no run this night
    if (std::uniform_int_distribution<int>(0, 29)(random) == 0) {
      fs::create_directories(server.directory.Path("arc/archive"));
      server.directory.Write("arc/archive/20231231z.psa_tmp", "remains");
    }
    constexpr int kSeconds[] = {0, 1800, 1800, 1800, 7200, 10800, 43200, 86399};
    const int second = kSeconds[std::uniform_int_distribution<size_t>(0, 7)(random)];
    // On 31 March the clock goes from 2 to 3.
    const bool skipped = today == model::DateOf("20240331") && second == 7200;
    ASSERT_NO_FATAL_FAILURE(RunAndCompare(today, skipped ? 10800 : second));
    ++nights;
  }
  EXPECT_GT(nights, 330);
  // The walk had something to show: archives of both levels are there, and broken days too.
  std::map<ArchiveSort, int> kinds;
  for (const auto& [name, kind] : files.archives) ++kinds[kind];
  EXPECT_GT(kinds[ArchiveSort::kHour], 60);
  EXPECT_GT(kinds[ArchiveSort::kEmptyHour], 10);
  EXPECT_GT(kinds[ArchiveSort::kDay], 9);
}

}  // namespace
