// Resynchronisation: see the header. Record tags are looked for at every byte; what stands behind
// one must hold as a record, so that counters that look like a tag are passed over.
#include "tools/checking/resync.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"

namespace psltool {

namespace {

constexpr size_t kFirstPiece = 1 << 12;
constexpr size_t kLargestPiece = 1 << 20;
constexpr size_t kTagSize = 3;
constexpr uint64_t kFreeTries = 64 << 20;  // bytes of candidates that turn out to be none
constexpr uint64_t kTriesPerByte = 16;

// Free space is not worth being found again; it can hold anything, old records too.
bool IsTag(const uint8_t* at) {
  const RecordTag tag = TagOf({reinterpret_cast<const char*>(at), kTagSize});
  return tag != RecordTag::kUnknown && tag != RecordTag::kFre;
}

}  // namespace

RecordSearch::RecordSearch(PslReader& reader, Progress& progress)
    : reader_(reader),
      progress_(progress),
      tries_left_(kFreeTries + kTriesPerByte * reader.size()) {}

uint64_t RecordSearch::Find(const RecordChecker& checker, uint64_t from, uint32_t stamp) {
  const uint64_t size = reader_.size();
  std::vector<uint8_t> piece;
  size_t most = kFirstPiece;
  while (from + kRecordHeaderSize <= size) {
    progress_.Show(reader_.path(), from, size);
    piece.resize(static_cast<size_t>(std::min<uint64_t>(most, size - from)));
    most = std::min(2 * most, kLargestPiece);
    reader_.GoTo(from);
    if (!reader_.ReadAt(from, piece.data(), piece.size())) return size;
    for (size_t i = 0; i + kTagSize <= piece.size(); ++i) {
      if (!IsTag(piece.data() + i)) continue;
      if (Holds(checker, from + i, stamp)) return from + i;
      const bool unreadable =
          reader_.failed() && reader_.trouble().severity == Severity::kUnreadable;
      if (unreadable || tries_left_ == 0) return size;
    }
    // A tag may stand across the end of the piece.
    from += piece.size() - (kTagSize - 1);
  }
  return size;
}

bool RecordSearch::Holds(const RecordChecker& checker, uint64_t offset, uint32_t stamp) {
  reader_.GoTo(offset);
  if (!reader_.NextHeader()) return false;
  if (Load32(reader_.record().data() + kAtTime) < stamp) return false;
  const uint64_t size = MeaningfulSize(TagOf(reader_.tag()), reader_.length());
  if (size > tries_left_) {
    tries_left_ = 0;
    return false;
  }
  tries_left_ -= size;
  if (!reader_.Load()) return false;
  if (reader_.tag() != "CON" && reader_.tag() != "STA") {
    // Nothing in a fixed record can be checked: its size and its neighbour must hold.
    return reader_.length() == size && IsRecordStart(reader_, reader_.next());
  }
  // Disks that the structure record does not know make a record an unlikely one.
  return checker.Judge(
             reader_, [](const Finding&) {}, UnknownDisks::kRefused) == Verdict::kSound;
}

bool IsRecordStart(PslReader& reader, uint64_t offset) {
  if (offset == reader.size()) return true;
  if (offset > reader.size() || reader.size() - offset < kRecordHeaderSize) return false;
  std::array<uint8_t, kRecordHeaderSize> header;
  if (!reader.ReadAt(offset, header.data(), header.size())) return false;
  const std::string_view tag(reinterpret_cast<const char*>(header.data()), kTagSize);
  const bool known = TagOf(tag) != RecordTag::kUnknown;
  const uint32_t length = Load32(header.data() + kAtLength);
  return known && length >= kRecordHeaderSize && length <= reader.size() - offset;
}

bool CanEndAt(PslReader& reader, uint64_t offset) {
  const uint64_t left = offset > reader.size() ? 0 : reader.size() - offset;
  if (left == 0) return offset == reader.size();
  std::array<uint8_t, kRecordHeaderSize> header = {};
  const size_t size = static_cast<size_t>(std::min<uint64_t>(left, header.size()));
  if (!reader.ReadAt(offset, header.data(), size)) return false;
  const std::string_view tag(reinterpret_cast<const char*>(header.data()),
                             std::min<size_t>(size, kTagSize));
  if (BeginsTag(tag)) return true;
  const uint32_t length = Load32(header.data() + kAtLength);
  return size == header.size() && length >= kRecordHeaderSize && length < left &&
         IsRecordStart(reader, offset + length);
}

}  // namespace psltool
