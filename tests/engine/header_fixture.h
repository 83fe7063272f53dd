// A file header as the open input: judged, read, and written again as the output's.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

#include "areas/finfo.h"
#include "engine/header.h"
#include "tests/support/engine_run.h"
#include "tests/support/record_bytes.h"
#include "tests/support/run_state.h"
#include "tests/support/tempdir.h"

class HeaderTest : public ::testing::Test {
 protected:
  HeaderTest() { ResetEngine(); }
  ~HeaderTest() override { ResetEngine(); }

  // Makes `bytes` the open input, at its start.
  void Open(const spell::Bytes& bytes) {
    if (rfd >= 0) close(rfd);
    directory_.Write("input.psl", bytes);
    name_ = directory_.Path("input.psl");
    rfname = name_.c_str();
    rfd = open(rfname, O_RDONLY | O_CLOEXEC);
  }

  // Judges a header; what was logged goes to err_.
  int JudgeBytes(const spell::Bytes& bytes) {
    Open(bytes);
    const Capture err(2);
    const int verdict = PreReadHeaderRec();
    err_ = err.Text();
    return verdict;
  }
  int Judge(const spell::Header& header) { return JudgeBytes(spell::HeaderRecord(header)); }

  // Reads a header; returns as StatusOf.
  int ReadBytes(const spell::Bytes& bytes) {
    Open(bytes);
    const Capture err(2);
    const int status = StatusOf(ReadHeaderRec);
    err_ = err.Text();
    return status;
  }
  int Read(const spell::Header& header) { return ReadBytes(spell::HeaderRecord(header)); }

  // The header that would be written now.
  spell::Bytes Written() {
    wfd = open(directory_.Path("output").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0666);
    EXPECT_EQ(StatusOf(WriteHeaderRec), kReturned);
    close(wfd);
    wfd = -1;
    return directory_.Read("output");
  }

  std::string Message(const std::string& text) {
    return "Qelprfarc: " + text + " -- " + name_ + "\n";
  }

  TempDir directory_;
  std::string name_;
  std::string err_;
  const TimeZone zone_{"UTC"};
};
