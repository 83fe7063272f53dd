// Automatic runs of the archive driver over small inputs: logs, hour and day archives by day,
// broken ones, and the outputs, trace and operation log of the run.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/engine_run.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

// Days are counted from 1 January 2024: 31 is 1 February.
inline uint32_t Stamp(uint32_t day) { return spell::kNewYear + day * spell::kDay; }

inline spell::Bytes LogOf(uint8_t revision, uint32_t day) {
  return spell::Log({.revision = revision, .time = Stamp(day)}, {Stamp(day) + 60});
}

inline spell::Bytes HourArchive(uint8_t revision, uint32_t day) {
  return spell::HeaderRecord({.revision = revision, .level = 'H', .time = Stamp(day)}) +
         spell::Structure(revision, {.time = Stamp(day), .continuation = 1}) +
         spell::Statistics(revision, {.time = Stamp(day) + 3599});
}

inline spell::Bytes DayArchive(uint8_t revision) {
  return spell::HeaderRecord({.revision = revision, .level = 'D'});
}

// Two good samples, then a record that is none.
inline spell::Bytes Broken(const spell::Bytes& good) {
  return good + spell::Records(good).back().bytes + spell::Record("XXX", 0, 0, "");
}

// Automatic runs write to the operation log below the test prefix.
class PrefixAutoDriverTest : public ::testing::Test {
 protected:
  PrefixAutoDriverTest() {
    directory_.MakeDirectory("archive");
    unlink(log_.c_str());
  }

  void PutLog(const std::string& name, const spell::Bytes& bytes) { directory_.Write(name, bytes); }
  void PutArchive(const std::string& name, const spell::Bytes& bytes) {
    directory_.Write("archive/" + name, bytes);
    inputs_.push_back(name);
  }

  EngineOutcome Hour(const std::vector<std::string>& names) {
    return RunAutomatic(directory_, names, 'H');
  }
  EngineOutcome Day(const std::vector<std::string>& names) {
    return RunAutomatic(directory_, names, 'D');
  }

  spell::Bytes Output(const std::string& name) { return directory_.Read("archive/" + name); }

  // Names in "archive" that are no inputs.
  std::vector<std::string> Outputs() {
    std::vector<std::string> outputs;
    for (const std::string& name : directory_.Names("archive")) {
      if (std::find(inputs_.begin(), inputs_.end(), name) == inputs_.end()) {
        outputs.push_back(name);
      }
    }
    return outputs;
  }

  static std::string Broken112(const std::string& name) {
    return "Qelprfarc: 112 Record broken -- " + name;
  }

  std::string Log() const { return TempDir::ReadFile(log_); }

  const std::string log_ = std::string(QELPRFARC_TEST_PREFIX) + "etc/log/operation.log";
  const TimeZone zone_{"UTC"};
  TempDir directory_;
  std::vector<std::string> inputs_;
};
