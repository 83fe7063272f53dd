// Bytes of the input: see the header.
#include "engine/input_bytes.h"

#include <algorithm>
#include <cstring>

#include "areas/finfo.h"
#include "platform/transfer.h"

size_t piece_bytes = kPieceBytes;

bool InputPiece::Get(int64_t at, size_t need, size_t most) {
  if (Holds(at, need)) return true;
  error_ = 0;
  const auto left = static_cast<uint64_t>(std::max<int64_t>(finfo.input_size - at, 0));
  // Not reached: of an input nothing but records is asked for, which lie within it.
  if (need > left) return false;
  size_t kept = Holds(at, 0) ? static_cast<size_t>(End() - at) : 0;
  const size_t size = std::max<size_t>(need, std::min<uint64_t>(most, left));
  if (size > bytes_.capacity()) {
    kept = 0;
    bytes_.Reserve(size);
  }
  if (kept != 0) std::memmove(bytes_.data(), At(at), kept);
  at_ = at;
  const Transfer read =
      ReadFrom(rfd, at + static_cast<int64_t>(kept), {bytes_.data() + kept, size - kept});
  filled_ = kept + read.size;
  error_ = read.error;
  return filled_ >= need;
}

void RecordBytes::Begin(InputPiece* piece, int64_t start, size_t size) {
  piece_ = piece;
  start_ = start;
  size_ = size;
  seen_ = AtHand(0);
  failed_ = false;
}

size_t RecordBytes::AtHand(uint64_t offset) const {
  const int64_t end = std::min(piece_->End(), start_ + static_cast<int64_t>(size_));
  return static_cast<size_t>(end - (start_ + static_cast<int64_t>(offset)));
}

bool RecordBytes::ReadUntil(uint64_t offset) {
  while (seen_ < offset && !failed_) {
    const size_t step = std::min<uint64_t>(offset - seen_, piece_bytes);
    const int64_t at = start_ + static_cast<int64_t>(seen_);
    failed_ = !piece_->Get(at, step, std::min<uint64_t>(size_ - seen_, piece_bytes));
    if (!failed_) seen_ += AtHand(seen_);
  }
  return !failed_;
}

const uint8_t* RecordBytes::At(uint64_t offset, size_t need) {
  if (offset > size_ || need > size_ - offset) return nullptr;
  const int64_t at = start_ + static_cast<int64_t>(offset);
  if (!piece_->Holds(at, need)) {
    if (!ReadUntil(offset)) return nullptr;
    failed_ = !piece_->Get(at, need, std::min<uint64_t>(size_ - offset, piece_bytes));
    if (failed_) return nullptr;
    seen_ = std::max<uint64_t>(seen_, offset + AtHand(offset));
  }
  return piece_->At(at);
}
