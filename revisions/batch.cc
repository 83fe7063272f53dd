// Records read side by side: see the header.
#include "revisions/batch.h"

#include <algorithm>
#include <cstring>

#include "areas/finfo.h"
#include "engine/byteorder.h"
#include "engine/pmoncommon.h"
#include "engine/stream.h"
#include "revisions/fold/cache.h"
#include "revisions/fold/fold.h"
#include "revisions/sets/slots.h"

namespace {

size_t HeadSize() { return finfo.layout->row.record_head; }

// Whether a section's entries can be expected in the order of its table, whatever they are.
bool FollowsTable(const stahdr& header, const SectionRow& row, size_t record_size) {
  const ResourceSet& set = resource_sets[row.kind];
  // Not reached: a count that differs, which has been looked at before.
  if (header.offset > record_size || header.count != set.entries) return false;
  if (row.kind == kCache) return header.count * CacheEntrySize() <= piece_bytes;
  return set.unique || set.lookup == Lookup::kPosition;
}

// The sections of a record that are read; none when a set lacks or entries may come in any order.
bool TakeSections(BatchRecord& record) {
  const RevisionLayout& layout = *record.layout;
  const Sections& sections = *record.sections;
  if (structure_revision != finfo.revision || !CountsAgree(sections, layout)) return false;
  record.taken = 0;
  for (const SectionRow& row : layout.Sections()) {
    if (BuildsSet(sections, row, layout)) return false;
    if (!IsTaken(sections, row)) continue;
    if (!FollowsTable(sections.of[row.kind], row, record.bytes.size())) return false;
    record.taken |= 1U << row.kind;
  }
  return true;
}

}  // namespace

bool EndsPeriod(int64_t before, int64_t now) {
  constexpr int64_t kSecondsPerHour = 3600;
  return finfo.level == 'H' && now / kSecondsPerHour > before / kSecondsPerHour;
}

// The head is at hand.
bool Batch::Judge(BatchRecord& record, const BatchRecord* before) {
  const auto n = static_cast<size_t>(&record - records_.data());
  record.layout = &LayoutOfRecord(record.head, *finfo.layout);
  std::memcpy(record.interval.data(), record.head + kAtIntervalValue, 2);
  if (before != nullptr && before->layout == record.layout &&
      std::memcmp(before->head + kAtFirstHeader, record.head + kAtFirstHeader,
                  HeadSize() - kAtFirstHeader) == 0 &&
      record.bytes.size() >= before->bytes.size()) {
    record.sections = before->sections;
    record.taken = before->taken;
    return true;
  }
  sections_[n] = DecodeSections(record.head, *record.layout);
  record.sections = &sections_[n];
  return TakeSections(record);
}

bool Batch::Begin() {
  for (InputPiece& piece : pieces_) piece.Forget();
  const int64_t start = finfo.record_start;
  const size_t size = finfo.record_length;
  if (size < HeadSize()) return false;
  BatchRecord& record = records_[0];
  record.head = InputBytes(start, size <= piece_bytes ? size : HeadSize());
  record.bytes.Begin(&InputWindow(), start, size);
  if (!Judge(record, nullptr)) return false;
  count_ = 1;
  return true;
}

void Batch::ReadFirst() {
  BatchRecord& record = records_[0];
  if (record.bytes.LiesIn(InputWindow())) return;
  if (!record.bytes.ReadUntil(record.bytes.size())) ReadFailed(record.bytes.error());
  record.head = InputBytes(record.bytes.start(), HeadSize());
}

// Has the header and the head of the record at `at`, if it can lie in memory beside those before
// it.
bool Batch::PeekAt(int64_t at, BatchRecord& record) {
  const auto n = static_cast<size_t>(&record - records_.data());
  if (at > finfo.input_size - static_cast<int64_t>(HeadSize())) return false;
  InputPiece* piece = &InputWindow();
  const bool follows = records_[n - 1].bytes.LiesIn(*piece);
  if (follows) {
    if (!piece->Holds(at, kRecordHeaderSize)) return false;
    record.frame = FrameAt(piece->At(at), at);
    if (record.frame.length <= piece_bytes && !piece->Holds(at, record.frame.length)) return false;
  }
  if (!follows || !piece->Holds(at, record.frame.length)) {
    piece = &pieces_[n];
    piece->Get(at, HeadSize(), piece_bytes);
    if (!piece->Holds(at, kRecordHeaderSize)) {
      NoteUnreadable(at, piece->error());
      return false;
    }
    record.frame = FrameAt(piece->At(at), at);
  }
  if (record.frame.fault != FrameFault::kSound || record.frame.length < HeadSize()) return false;
  if (record.frame.tag != RecordTag::kStatistics) return false;
  // Of other records nothing behind the header need be readable.
  if (!piece->Holds(at, HeadSize())) {
    NoteUnreadable(at, piece->error());
    return false;
  }
  record.head = piece->At(at);
  record.bytes.Begin(piece, at, record.frame.length);
  return true;
}

void Batch::Gather(size_t most) {
  int64_t last = finfo.record_time;
  int64_t at = finfo.position;
  most = std::min(most, kMostBatch);
  while (count_ < most) {
    BatchRecord& record = records_[count_];
    const BatchRecord& before = records_[count_ - 1];
    if (!PeekAt(at, record) || EndsPeriod(last, record.frame.time)) return;
    if (!Judge(record, &before) || record.layout != before.layout || record.taken != before.taken) {
      return;
    }
    last = record.frame.time;
    at += record.frame.step;
    ++count_;
  }
}

// The record that could not be read is told of when its turn comes.
void Batch::NoteFailedRead() {
  for (size_t n = 0; n < count_; ++n) {
    RecordBytes& record = records_[n].bytes;
    if (!record.Failed()) continue;
    if (n == 0) ReadFailed(record.error());
    NoteUnreadable(record.start(), record.error());
    return;
  }
}

bool Batch::Fold() {
  const RevisionLayout& layout = *records_[0].layout;
  std::array<SectionPlace, kMostBatch> places;
  for (const SectionRow& row : layout.Sections()) {
    if (!Takes(row.kind)) continue;
    for (size_t n = 0; n < count_; ++n) {
      places[n] = {&records_[n].bytes, records_[n].sections->of[row.kind].offset};
    }
    if (FoldInStep({places.data(), count_}, row, layout.row.rule)) continue;
    NoteFailedRead();
    return false;
  }
  return true;
}

void Batch::Free() {
  for (InputPiece& piece : pieces_) piece.Free();
}
