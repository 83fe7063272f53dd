// Records of an archive under audit: see the header.
#include "tools/reading/archive_records.h"

#include "engine/byteorder.h"
#include "engine/pmonfile.h"

namespace psltool {

const ArchiveRecords::Frame* ArchiveRecords::Ahead(size_t distance) {
  while (ahead_.size() <= distance) {
    if (!reader_.NextHeader()) return nullptr;
    ahead_.push_back({std::string(reader_.tag()), Load32(reader_.record().data() + kAtTime),
                      passed_ + ahead_.size() + 1, reader_.position(),
                      MeaningfulSize(TagOf(reader_.tag()), reader_.length())});
  }
  return &ahead_[distance];
}

bool ArchiveRecords::Load(std::vector<uint8_t>& bytes) {
  const Frame& frame = ahead_.front();
  return LoadAs(frame.offset, frame.length, bytes);
}

void ArchiveRecords::Pass() {
  ahead_.pop_front();
  ++passed_;
}

void ArchiveRecords::PassBytes(uint64_t size) {
  const uint64_t start = position();
  ahead_.clear();
  ++passed_;
  reader_.GoTo(start + size);
}

bool ArchiveRecords::LoadAs(uint64_t offset, size_t size, std::vector<uint8_t>& bytes) {
  if (offset > reader_.size() || size > reader_.size() - offset) return false;
  bytes.resize(size);
  return reader_.ReadAt(offset, bytes.data(), size);
}

bool ArchiveRecords::CanBegin(uint64_t offset) {
  if (offset == reader_.size()) return true;
  std::vector<uint8_t> frame;
  if (!LoadAs(offset, kRecordHeaderSize, frame)) return false;
  const std::string_view tag(reinterpret_cast<const char*>(frame.data()), 3);
  const RecordTag known = TagOf(tag);
  return known != RecordTag::kUnknown && known != RecordTag::kFre;
}

}  // namespace psltool
