// Finding records again behind a place where the framing of a file is lost.
#pragma once

#include <cstdint>

#include "tools/checking/check_file.h"
#include "tools/output/progress.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

// True when a record header that can be one stands at the offset, or the file ends there.
bool IsRecordStart(PslReader& reader, uint64_t offset);

// True when a record may end at the offset: the file ends there, a record tag begins there, damaged
// length or not, or what is there has the length of a record, damaged tag or not. False where bytes
// were lost or put in inside the record in front, so that its length leads to the wrong place.
bool CanEndAt(PslReader& reader, uint64_t offset);

class RecordSearch {
 public:
  RecordSearch(PslReader& reader, Progress& progress);

  // Offset of the first record from `from` on that is sound against what `checker` holds and not
  // older than `stamp`; the file's size when there is none. When reading fails, the reader tells.
  uint64_t Find(const RecordChecker& checker, uint64_t from, uint32_t stamp);

 private:
  bool Holds(const RecordChecker& checker, uint64_t offset, uint32_t stamp);

  PslReader& reader_;
  Progress& progress_;
  // Bytes of false candidates that are still looked at, so that no file keeps the search busy
  // without end.
  uint64_t tries_left_;
};

}  // namespace psltool
