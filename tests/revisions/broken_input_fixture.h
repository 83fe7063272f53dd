// Runs over one broken input: whole logs to be broken, how a run over them ended, and the two ways
// in which it may end. Whatever an input says, there is a whole archive, or message 112 and none.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/engine_run.h"
#include "tests/support/process.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"
#include "tests/support/sample_records.h"
#include "tests/support/tempdir.h"

inline constexpr uint8_t kAllRevisions[] = {0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x18,
                                            0x19, 0x1A, 0x1B, 0x1C, 0x1D, 0x1E, 0x1F, 0x20, 0x21};

inline spell::Bytes FullStructure(uint8_t revision) {
  return spell::Structure(revision, {.all_kinds = true});
}
inline spell::Bytes FullStatistics(uint8_t revision) {
  return spell::Statistics(revision, {.all_kinds = true});
}

// A log with one record of each sort and one resource of each kind.
inline spell::Bytes FullLog(uint8_t revision) {
  return spell::HeaderRecord({.revision = revision}) + FullStructure(revision) +
         FullStatistics(revision) + spell::FixedRecord("NNC", 80) + spell::FixedRecord("LDM", 64) +
         FullStatistics(revision);
}

// Where slots stand in the head of either record.
inline std::vector<size_t> SlotsOf(uint8_t revision) {
  std::vector<size_t> slots;
  const size_t last = revision < 0x19 ? spell::HeadSize(revision) - 8 : 144;
  for (size_t at = 16; at <= last; at += 8) {
    if (revision >= 0x14 && revision < 0x19 && at > 80) break;  // the trailing section's offset
    slots.push_back(at);
  }
  return slots;
}

// Leaves this process room for 256 MB more. The sanitizers' shadow needs more than any limit.
inline bool LimitMemory() {
#ifndef __SANITIZE_ADDRESS__
  constexpr rlim_t kRoom = rlim_t{256} << 20;
  unsigned long pages = 0;
  FILE* const statm = fopen("/proc/self/statm", "r");
  if (statm == nullptr || fscanf(statm, "%lu", &pages) != 1) return false;
  fclose(statm);
  const rlimit limit = {pages * 4096 + kRoom, pages * 4096 + kRoom};
  return setrlimit(RLIMIT_AS, &limit) == 0;
#else
  return true;
#endif
}

// Automatic runs sync their outputs: thousands of them want a file system in memory.
class InMemory {
 public:
  InMemory() {
    if (const char* directory = getenv("TMPDIR"); directory != nullptr) before_ = directory;
    if (access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 1);
  }
  ~InMemory() {
    if (before_.empty()) {
      unsetenv("TMPDIR");
    } else {
      setenv("TMPDIR", before_.c_str(), 1);
    }
  }
  InMemory(const InMemory&) = delete;
  InMemory& operator=(const InMemory&) = delete;

 private:
  std::string before_;
};

class BrokenInputTest : public ::testing::TestWithParam<uint8_t> {
 protected:
  static constexpr char kName[] = "20240101A.psl";

  EngineOutcome Manual(const spell::Bytes& file) {
    directory_.Write(kName, file);
    std::filesystem::remove(directory_.Path("out"));
    const EngineOutcome outcome =
        RunManual({directory_.Path(kName)}, {.outpath = directory_.Path("out")});
    exists_ = directory_.Exists("out");
    archive_ = directory_.Read("out");
    return outcome;
  }

  std::string Message(const std::string& text, const std::string& rest = "") {
    return "Qelprfarc: " + text + " -- " + directory_.Path(kName) + rest + "\n";
  }

  bool IsBroken(const spell::Bytes& file) {
    const EngineOutcome outcome = Manual(file);
    return outcome.status == 1 && outcome.err == Message("112 Record broken") && !exists_;
  }

  bool IsFine(const spell::Bytes& file) {
    const EngineOutcome outcome = Manual(file);
    return outcome.status == kReturned && outcome.err.empty() && exists_;
  }

  // A log whose structure or statistics record is the one given.
  spell::Bytes WithStructure(const spell::Bytes& structure) {
    return spell::HeaderRecord({.revision = GetParam()}) + structure;
  }
  spell::Bytes WithStatistics(const spell::Bytes& statistics) {
    return WithStructure(FullStructure(GetParam())) + statistics;
  }

  // The run ends in one of the ways that are allowed; its status.
  int ExpectDefinedEnd(const spell::Bytes& file, const std::string& what) {
    const EngineOutcome outcome = Manual(file);
    if (outcome.status == kReturned) {
      EXPECT_EQ(outcome.err, "") << what;
      EXPECT_TRUE(exists_) << what;
      EXPECT_NO_THROW(spell::Records(archive_)) << what;
    } else {
      EXPECT_EQ(outcome.status, 1) << what;
      EXPECT_EQ(outcome.err, Message("112 Record broken")) << what;
      EXPECT_FALSE(exists_) << what;
    }
    return outcome.status;
  }

  // Runs `body` in a child that may not take much memory.
  template <typename Body>
  void WithLittleMemory(Body body) {
    const int status = RunInChild([&] {
      if (!LimitMemory()) return 90;
      body();
      return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(status, 0);
  }

  const InMemory in_memory_;
  TempDir directory_;
  spell::Bytes archive_;
  bool exists_ = false;
};
