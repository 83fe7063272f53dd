// Runs that the daemon starts: a server of the test's own, and what a run adds to the operation
// log.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/header_file.h"
#include "tests/support/process.h"
#include "tests/support/runs/server.h"
#include "tests/support/tempdir.h"

class PrefixDaemonRun : public ::testing::Test {
 protected:
  static constexpr uint16_t kDays = 0;  // unit of a retention

  PrefixDaemonRun() : log_start_(TestServer::OperationLog().size()) {}

  // Operation-log entries since the start of the test, without their time of 25 characters. Other
  // tests may add some of their own.
  std::vector<std::string> LogEntries() const {
    std::vector<std::string> entries;
    const std::string added = TestServer::OperationLog().substr(log_start_);
    for (size_t start = 0; start < added.size();) {
      const size_t end = added.find('\n', start);
      entries.push_back(added.substr(start + 26, end - start - 26));
      start = end + 1;
    }
    return entries;
  }

  // The trace line with which a run says whose it is.
  std::string RootLine() const { return "$main():root " + server.directory.Path("root/"); }

  void MakeLog(const std::string& name) const {
    server.directory.Write("arc/" + name, HeaderBytes({}));
  }

  const TempDir& files() const { return server.directory; }

  static void ExpectQuiet(const ProgramResult& result) {
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "");
  }

  TestServer server;

 private:
  size_t log_start_;
};
