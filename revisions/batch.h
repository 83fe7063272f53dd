// Records of one period that are read side by side: the heads of up to ten first, then, kind by
// kind and tile by tile, their entries, so that the slots of a tile are at hand for all of them.
// Nothing of a record is kept but the piece that is being read.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "engine/framing.h"
#include "engine/input_bytes.h"
#include "revisions/sections.h"

inline constexpr size_t kMostBatch = 10;

struct BatchRecord {
  RecordBytes bytes;
  Frame frame;
  const RevisionLayout* layout = nullptr;
  const uint8_t* head = nullptr;         // while the batch is gathered
  const Sections* sections = nullptr;    // records with the same head share them
  uint32_t taken = 0;                    // bit n: entries of the kind n are read
  std::array<uint8_t, 2> interval = {};  // bytes 14 and 15 of its head
};
static_assert(kSectionKinds <= 32);

// Whether a statistics record of the time `now` belongs to another period than the one before it.
bool EndsPeriod(int64_t before, int64_t now);

class Batch {
 public:
  // Begins with the record at hand. False: its head does not show that it can be read so.
  bool Begin();
  // Reads its first record to the end, which is read again when it is folded.
  void ReadFirst();
  // Adds the records that follow it as long as they belong to its period, `most` in all at most.
  void Gather(size_t most);

  size_t count() const { return count_; }
  BatchRecord& operator[](size_t i) { return records_[i]; }
  // Whether entries of a kind are read.
  bool Takes(Kind kind) const { return (records_[0].taken >> kind & 1) != 0; }

  // Folds the entries of all records. False: one of them is not as it was expected to be, so the
  // slots are void. Nothing has been reported but that the first record cannot be read.
  bool Fold();
  void Free();

 private:
  bool Judge(BatchRecord& record, const BatchRecord* before);
  bool PeekAt(int64_t at, BatchRecord& record);
  void NoteFailedRead();

  size_t count_ = 0;
  std::array<BatchRecord, kMostBatch> records_;
  std::array<Sections, kMostBatch> sections_;
  std::array<InputPiece, kMostBatch> pieces_;
};
