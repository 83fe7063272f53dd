// Reading of files: see the header.
#include "tools/psl_reader.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cstring>

#include "engine/byteorder.h"
#include "engine/pmonfile.h"
#include "tools/report.h"

namespace {

constexpr size_t kRankSlotOf0x11 = 56;

}  // namespace

PslReader::~PslReader() {
  if (fd_ != -1) close(fd_);
}

bool PslReader::ReadBytes(uint8_t* to, size_t size) {
  while (size > 0) {
    const ssize_t count = read(fd_, to, size);
    if (count == -1 && errno == EINTR) continue;
    if (count <= 0) {
      failed_ = true;
      return Fail(path_, count == 0 ? "became shorter while it was read" : std::strerror(errno));
    }
    to += count;
    size -= static_cast<size_t>(count);
  }
  return true;
}

bool PslReader::Open() {
  fd_ = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
  struct stat status {};
  if (fd_ == -1 || fstat(fd_, &status) == -1) {
    return Fail(path_, std::string("cannot be opened: ") + std::strerror(errno));
  }
  if (!S_ISREG(status.st_mode)) return Fail(path_, "not a regular file");
  size_ = static_cast<uint64_t>(status.st_size);
  if (!Next()) return failed_ ? false : Fail(path_, "the file is empty");
  const uint8_t revision = record_[kAtFlag];
  if (tag() != "HDR") return Fail(path_, "not a log or archive: no file header");
  if (!KnownRevision(revision)) {
    return Fail(path_, fmt::format("unknown format revision 0x{:02X}", revision));
  }
  const RevisionLayout& layout = LayoutOf(revision);
  if (record_.size() != layout.row.file_header) {
    return Fail(path_, fmt::format("a file header of {} bytes", record_.size()));
  }
  header_.revision = revision;
  header_.level = static_cast<char>(record_[kAtLevel]);
  for (size_t i = 0; i < layout.bitmap_count; ++i) {
    const BitmapRow& row = layout.bitmaps[i];
    if (row.kind != kReservedItems) header_.masks[row.kind] = Load32(record_.data() + row.at);
  }
  return true;
}

bool PslReader::Broken(std::string_view reason) {
  failed_ = true;
  return Fail(path_, fmt::format("broken record at {}: {}", position_, reason));
}

bool PslReader::Next() {
  position_ = next_;
  if (next_ == size_) return false;
  if (size_ - next_ < kRecordHeaderSize) return Broken("the file ends within it");
  uint8_t start[kRecordHeaderSize];
  if (!ReadBytes(start, sizeof start)) return false;
  const uint32_t length = Load32(start + kAtLength);
  if (length < kRecordHeaderSize || length > size_ - next_) {
    return Broken(fmt::format("a length of {} bytes", length));
  }
  record_.resize(length);
  std::memcpy(record_.data(), start, sizeof start);
  if (!ReadBytes(record_.data() + sizeof start, length - sizeof start)) return false;
  next_ += length;
  return true;
}

std::string_view PslReader::tag() const {
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

SectionPlace PlaceOf(std::span<const uint8_t> record, const SectionRow& row) {
  const std::span<const uint8_t> at = Carve(record, row.slot, 8);
  if (at.empty()) return {0, 0};
  return {Load16(at.data() + 2), Load32(at.data() + 4)};
}
