// Manual runs of the archive driver over small inputs: logs and hour archives of a date, a
// directory for the inputs with one for the outputs in it, and what came out.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/engine_run.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

// A date of 2024 and the stamp of its midnight.
struct Date {
  int month, day;
  uint32_t Stamp() const {
    uint32_t days = static_cast<uint32_t>(day) - 1;
    constexpr uint32_t kLengths[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    for (int i = 1; i < month; ++i) days += kLengths[i - 1];
    return spell::kNewYear + days * spell::kDay;
  }
};

inline spell::Header HeaderOf(uint8_t revision, char level, Date date) {
  return {.revision = revision,
          .level = level,
          .time = date.Stamp(),
          .month = date.month,
          .day = date.day};
}

// A log of two samples in one hour.
inline spell::Bytes LogOf(uint8_t revision, Date date) {
  return spell::Log(HeaderOf(revision, 'L', date), {date.Stamp() + 60, date.Stamp() + 120});
}

// An hour archive of two hours whose structure record may be continued.
inline spell::Bytes HourArchive(uint8_t revision, Date date, uint32_t logical_disks = 1) {
  const uint32_t time = date.Stamp();
  return spell::HeaderRecord(HeaderOf(revision, 'H', date)) +
         spell::Structure(revision,
                          {.time = time, .continuation = 1, .logical_disks = logical_disks}) +
         spell::Statistics(revision, {.time = time + 3599, .logical_disks = logical_disks}) +
         spell::Statistics(revision, {.time = time + 7199, .logical_disks = logical_disks});
}

class DriverTest : public ::testing::Test {
 protected:
  DriverTest() { directory_.MakeDirectory("out"); }

  std::string Put(const std::string& name, const spell::Bytes& bytes) {
    directory_.Write(name, bytes);
    return directory_.Path(name);
  }

  EngineOutcome Run(const std::vector<std::string>& inputs, ManualSettings settings = {}) {
    if (settings.directory.empty()) settings.directory = directory_.Path("out/");
    return RunManual(inputs, settings);
  }

  spell::Bytes Output(const std::string& name) { return directory_.Read("out/" + name); }
  std::vector<std::string> Outputs() { return directory_.Names("out"); }

  const TimeZone zone_{"UTC"};
  TempDir directory_;
};
