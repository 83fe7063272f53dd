// The records of an archive under audit, with a look at those ahead: so a record that has no
// counterpart is told from one that differs.
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "tools/reading/psl_reader.h"

namespace psltool {

class ArchiveRecords {
 public:
  explicit ArchiveRecords(PslReader& reader) : reader_(reader) {}

  struct Frame {
    std::string tag;
    uint32_t stamp;
    uint64_t number;
    uint64_t offset;
    uint32_t length;  // of what means something
  };

  // The frame of a record ahead, 0 being the next one. Null: the file ends before, or is broken.
  const Frame* Ahead(size_t distance);
  // The content of the next record.
  bool Load(std::vector<uint8_t>& bytes);
  void Pass();
  // Goes on `size` bytes behind the start of the next record, whatever its length says.
  void PassBytes(uint64_t size);

  // Reads what stands at the next record's place as one of the size given. False: it does not fit.
  bool LoadAs(uint64_t offset, size_t size, std::vector<uint8_t>& bytes);
  // True when a record can begin at the offset, or the file ends there.
  bool CanBegin(uint64_t offset);
  // Where the next record begins, and its number.
  uint64_t position() const { return ahead_.empty() ? reader_.next() : ahead_.front().offset; }
  uint64_t number() const { return passed_ + 1; }
  bool failed() const { return reader_.failed(); }

 private:
  PslReader& reader_;
  std::deque<Frame> ahead_;
  uint64_t passed_ = 0;
};

}  // namespace psltool
