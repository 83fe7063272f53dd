// Reading of files: see the header.
#include "tools/reading/psl_reader.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "platform/transfer.h"
#include "tools/output/report.h"

namespace psltool {

namespace {

constexpr size_t kRankSlotOf0x11 = FindRow(LayoutOf(0x11).Sections(), kRank)->header_at;

}  // namespace

PslReader::~PslReader() {
  if (fd_ != -1) close(fd_);
}

bool PslReader::Unreadable(const std::string& why) {
  failed_ = true;
  trouble_ = {Severity::kUnreadable, "unreadable", number_, "", position_, "", why};
  return reports_ == Reports::kPrinted ? Fail(path_, why) : false;
}

bool PslReader::Inherit(const Finding& trouble) { return Unreadable(trouble.text); }

bool PslReader::Broken(const char* code, uint64_t offset, std::string field, std::string text) {
  failed_ = true;
  trouble_ = {Severity::kError, code,           number_, TagText(tag()), offset,
              std::move(field), std::move(text)};
  return reports_ == Reports::kPrinted ? Fail(path_, DescribeWithAdvice(trouble_)) : false;
}

bool PslReader::Broken(std::string_view reason) {
  return Broken("record", position_, "", std::string(reason));
}

bool PslReader::ReadAt(uint64_t offset, uint8_t* to, size_t size) {
  const Transfer read = ReadFrom(fd_, static_cast<int64_t>(offset), {to, size});
  if (read.size == size) return true;
  return Unreadable(read.error == 0 ? "became shorter while it was read"
                                    : fmt::format("cannot be read: {}", std::strerror(read.error)));
}

bool PslReader::Open() {
  // A pipe without a writer must not hold the tool up; it is refused below.
  fd_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  struct stat status {};
  if (fd_ == -1 || fstat(fd_, &status) == -1) {
    return Unreadable(std::string("cannot be opened: ") + std::strerror(errno));
  }
  if (S_ISDIR(status.st_mode)) return Unreadable("is a directory; name a file in it");
  if (!S_ISREG(status.st_mode)) return Unreadable("not a regular file");
  size_ = static_cast<uint64_t>(status.st_size);
  if (size_ == 0) return Broken("file-empty", 0, "", "the file is empty");
  if (size_ < kRecordHeaderSize) {
    return Broken("file-short", 0, "", fmt::format("the file ends after {} bytes", size_));
  }
  record_.resize(kRecordHeaderSize);
  if (!ReadAt(0, record_.data(), record_.size())) return false;
  if (tag() != "HDR") {
    return Broken("header-tag", kAtTag, "tag", "not a log or archive: no file header");
  }
  const uint8_t revision = record_[kAtFlag];
  if (!KnownRevision(revision)) {
    return Broken("header-revision", kAtFlag, "format revision",
                  fmt::format("0x{:02X} is not from 0x{:02X} to 0x{:02X}", revision, kFirstRevision,
                              kLastRevision));
  }
  const RevisionLayout& layout = LayoutOf(revision);
  length_ = Load32(record_.data() + kAtLength);
  next_ = layout.row.file_header;  // whatever the length field says
  if (size_ < next_) {
    return Broken(
        "file-short", 0, "",
        fmt::format("the file ends after {} of the file header's {} bytes", size_, next_));
  }
  record_.resize(next_);
  if (!ReadAt(0, record_.data(), record_.size())) return false;
  header_.revision = revision;
  header_.level = static_cast<char>(record_[kAtLevel]);
  for (const BitmapRow& row : layout.Bitmaps()) {
    if (row.kind != kReservedItems) header_.masks[row.kind] = Load32(record_.data() + row.at);
  }
  return true;
}

void PslReader::GoTo(uint64_t offset) {
  next_ = offset;
  failed_ = false;
}

bool PslReader::NextHeader() {
  position_ = next_;
  record_.clear();
  length_ = 0;
  if (failed_ || next_ >= size_) return false;
  ++number_;
  const uint64_t left = size_ - next_;
  if (left < kRecordHeaderSize) {
    return Broken("tail", position_, "",
                  fmt::format("{} bytes behind the last record are too few for a record", left));
  }
  record_.resize(kRecordHeaderSize);
  if (!ReadAt(position_, record_.data(), record_.size())) return false;
  return Framed();
}

bool PslReader::Framed() {
  const uint64_t left = size_ - position_;
  const Frame frame = FrameOf(std::span<const uint8_t, kRecordHeaderSize>(record_), left,
                              LayoutOf(header_.revision).row);
  length_ = frame.length;
  switch (frame.fault) {
    case FrameFault::kSound:
      next_ = position_ + frame.step;
      return true;
    case FrameFault::kUnknownTag:
      return Broken("record-tag", position_, "tag",
                    fmt::format("\"{}\" is no record tag", TagText(tag())));
    case FrameFault::kBelowHeader:
      return Broken("record-length", position_ + kAtLength, "record length",
                    fmt::format("{} bytes are less than a record header", length_));
    case FrameFault::kPastEnd:
      return Broken("record-length", position_ + kAtLength, "record length",
                    fmt::format("{} bytes, but the file ends after {}", length_, left));
    case FrameFault::kBelowFixed:
      break;
  }
  return Broken(
      "record-short", position_ + kAtLength, "record length",
      fmt::format("{} bytes, but {} records have {}", length_, tag(), FixedSizeOf(frame.tag)));
}

bool PslReader::Load(size_t most) {
  const size_t have = record_.size();
  const size_t want = std::min<size_t>(MeaningfulSize(TagOf(tag()), length_), most);
  if (want <= have) return true;
  record_.resize(want);
  return ReadAt(position_ + have, record_.data() + have, want - have);
}

bool PslReader::Next() { return NextHeader() && Load(); }

std::string_view PslReader::tag() const {
  if (record_.size() < kRecordHeaderSize) return {};
  return {reinterpret_cast<const char*>(record_.data()), 3};
}

const RevisionLayout& LayoutOfStatistics(const PslHeader& header, std::span<const uint8_t> record) {
  const bool as_0x11 = header.revision == 0x10 && record.size() >= kRankSlotOf0x11 + 8 &&
                       Load32(record.data() + kRankSlotOf0x11 + 4) != 0;
  return LayoutOf(as_0x11 ? uint8_t{0x11} : header.revision);
}

std::span<const uint8_t> Carve(std::span<const uint8_t> record, uint64_t offset, uint64_t size) {
  if (offset > record.size() || size > record.size() - offset) return {};
  return record.subspan(offset, size);
}

size_t WordsOf(const PslHeader& header, Kind kind) {
  return static_cast<size_t>(std::popcount(header.masks[kind]));
}

std::optional<Finding> ErrorOf(const PslReader& reader,
                               const std::function<bool(RecordReport&)>& judge) {
  std::optional<Finding> error;
  const FindingSink sink = [&](const Finding& finding) {
    if (finding.severity == Severity::kError && !error) error = finding;
  };
  RecordReport report(sink, reader.number(), reader.position(), reader.tag());
  if (judge(report)) error.reset();
  return error;
}

SectionPlace PlaceOf(std::span<const uint8_t> record, const SectionRow& row) {
  return PlaceAt(record, row.header_at);
}

SectionPlace PlaceAt(std::span<const uint8_t> record, size_t slot) {
  const std::span<const uint8_t> at = Carve(record, slot, 8);
  if (at.empty()) return {0, 0};
  return {Load16(at.data() + 2), Load32(at.data() + 4)};
}

}  // namespace psltool
