// One call that reports a message: the run's state before it, what it writes to standard error and
// to a trace file of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "platform/QelCM.h"
#include "report/messages.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

class Messages : public ::testing::Test {
 protected:
  Messages() { ResetRunState(); }
  ~Messages() override { ResetRunState(); }

  // Standard error of one call.
  static std::string ErrorOf(int32_t number, const char* arg, const char* func = nullptr,
                             int32_t err = 0, uint32_t detail = 0) {
    Capture capture(2);
    LogMessage(number, arg, func, err, detail);
    return capture.Text();
  }

  void UseTrace() const {
    snprintf(sgmtr_dmpfile, sizeof sgmtr_dmpfile, "%s", directory.Path("trace").c_str());
  }
  std::string Trace() const { return directory.Read("trace"); }

  TempDir directory;
};
