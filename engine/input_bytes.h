// Bytes of the input open on rfd by their offset in the file. Nobody reads records in another way:
// the stream has a window of it that holds many small records, large records are gone through by
// pieces.
#pragma once

#include <cstddef>
#include <cstdint>

#include "engine/buffer.h"

// What is read of a record at a time. Records up to this size are read many at once; pieces of ten
// records that are read side by side stay in the caches.
inline constexpr size_t kPieceBytes = size_t{80} << 10;
// Tests make it smaller.
extern size_t piece_bytes;

// A stretch of the input in memory.
class InputPiece {
 public:
  bool Holds(int64_t at, size_t size) const {
    return at >= at_ && static_cast<uint64_t>(at - at_) + size <= filled_;
  }
  // Of a place that it holds.
  const uint8_t* At(int64_t at) const { return bytes_.data() + (at - at_); }
  int64_t End() const { return at_ + static_cast<int64_t>(filled_); }

  // Makes it hold `need` bytes from `at` on. If they are missing, one call (where it brings less,
  // some more) reads what lacks of them, or of `most` bytes where that is more; what it held before
  // `at` goes. Nothing behind the size that the input had when it was opened is read. False: they
  // cannot be read, which nobody has been told yet.
  bool Get(int64_t at, size_t need, size_t most);
  // After Get was false, why: the error of the call that failed, wherever `most` ended; 0: the file
  // ended before the size that it had.
  int error() const { return error_; }

  size_t capacity() const { return bytes_.capacity(); }
  void Forget() { filled_ = 0; }
  void Free() {
    Forget();
    bytes_.Free();
  }

 private:
  Buffer bytes_;
  int64_t at_ = 0;
  size_t filled_ = 0;
  int error_ = 0;
};

// A record whose bytes come by pieces. All of them are read from its beginning to its end, used or
// not: a record that cannot be read is told from one that is broken.
class RecordBytes {
 public:
  // A record whose first bytes `piece` holds. It may be shared only when it holds all of them.
  void Begin(InputPiece* piece, int64_t start, size_t size);

  int64_t start() const { return start_; }
  size_t size() const { return size_; }
  // Null: the bytes leave the record, or cannot be read (Failed).
  const uint8_t* At(uint64_t offset, size_t need);
  // Bytes of the record that are at hand from `offset` on, where At has been just now.
  size_t AtHand(uint64_t offset) const;
  // Reads what is left of the record before `offset`.
  bool ReadUntil(uint64_t offset);

  // Whether `piece` holds all of it.
  bool LiesIn(const InputPiece& piece) const {
    return piece_ == &piece && piece.Holds(start_, size_);
  }
  bool Failed() const { return failed_; }
  int error() const { return piece_->error(); }

 private:
  InputPiece* piece_ = nullptr;
  int64_t start_ = 0;
  size_t size_ = 0;
  uint64_t seen_ = 0;  // all bytes before have been read
  bool failed_ = false;
};
