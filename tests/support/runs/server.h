// The server around an automatic run: the daemon's configuration segment, and the directories that
// it names.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "tests/support/process.h"
#include "tests/support/tempdir.h"

// The bytes of a configuration segment.
class SegmentBytes {
 public:
  explicit SegmentBytes(size_t size = 10240) : bytes_(size) {}

  template <typename T>
  void Put(size_t offset, T value) {
    std::memcpy(&bytes_.at(offset + sizeof value - 1) - (sizeof value - 1), &value, sizeof value);
  }
  void PutText(size_t offset, const std::string& text) {
    for (size_t i = 0; i <= text.size(); ++i) bytes_.at(offset + i) = text.c_str()[i];
  }
  // Count and unit of a retention class (0 PSL, 1 hour PSA, 2 day PSA).
  void PutRetention(size_t retention_class, uint16_t count, uint16_t unit) {
    Put<uint16_t>(6592 + 4 * retention_class, count);
    Put<uint16_t>(6594 + 4 * retention_class, unit);
  }
  void PutArchivingSwitch(uint8_t value) { Put<uint8_t>(6569, value); }
  void PutDirectories(const std::string& root, const std::string& archive, const std::string& pml) {
    PutText(240, root);
    PutText(6304, archive);
    PutText(9184, pml);
  }

  std::vector<char>& bytes() { return bytes_; }
  const std::vector<char>& bytes() const { return bytes_; }

 private:
  std::vector<char> bytes_;
};

// A shared-memory segment that ends with this process, however that ends.
class SharedSegment {
 public:
  explicit SharedSegment(const SegmentBytes& bytes);
  ~SharedSegment();
  SharedSegment(const SharedSegment&) = delete;
  SharedSegment& operator=(const SharedSegment&) = delete;

  std::string Id() const { return std::to_string(id_); }

 private:
  int id_ = -1;
  void* address_ = nullptr;
};

// A server with its directories below a temporary one: "root" (with "pmon" and "core/Qelprfd"),
// "arc" and "pml". Its runs use the program built for tests.
class TestServer {
 public:
  TestServer();

  // A run with "-auto -mode svr" and the segment as it stands, then `more`.
  ProgramResult RunAuto(const std::vector<std::string>& more = {}) const;

  // A run with "-auto2" and these three numbers.
  ProgramResult RunAuto2(const std::string& embedded, const std::string& term,
                         const std::string& oldest) const;

  // A run with these arguments, in which "SEGMENT" stands for the segment's identifier.
  ProgramResult Run(std::vector<std::string> arguments) const;

  // Texts of the trace lines that the process `pid` wrote.
  static std::vector<std::string> TraceOf(pid_t pid);

  // Everything in the operation log, and what was added since.
  static std::string OperationLog();

  TempDir directory;
  SegmentBytes segment;
};
