// Reads a log or archive record by record, independent of the archiver's work areas: the file
// header decides the layout and how many extended words stand behind each entry.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "engine/kinds.h"
#include "engine/layout.h"

struct PslHeader {
  uint8_t revision;
  char level;  // 'L', 'H' or 'D'
  std::array<uint32_t, kSectionKinds> masks;
};

class PslReader {
 public:
  explicit PslReader(std::string path) : path_(std::move(path)) {}
  ~PslReader();
  PslReader(const PslReader&) = delete;
  PslReader& operator=(const PslReader&) = delete;

  // Opens the file and reads its header. False: reported.
  bool Open();

  // Reads the next record into `record`. False at the end of the file and for a broken record,
  // which is reported; `failed` tells them apart.
  bool Next();
  bool failed() const { return failed_; }

  // Reports that the record at hand is broken. Returns false.
  bool Broken(std::string_view reason);

  const PslHeader& header() const { return header_; }
  std::span<const uint8_t> record() const { return record_; }
  std::string_view tag() const;
  const std::string& path() const { return path_; }

 private:
  bool ReadBytes(uint8_t* to, size_t size);

  std::string path_;
  int fd_ = -1;
  uint64_t size_ = 0;      // of the file
  uint64_t next_ = 0;      // where the next record begins
  uint64_t position_ = 0;  // where the record at hand begins
  bool failed_ = false;
  PslHeader header_ = {};
  std::vector<uint8_t> record_;
};

// The layout of a statistics record: that of its file, except that records of 0x10 files can be
// laid out as in 0x11.
const RevisionLayout& LayoutOfStatistics(const PslHeader& header, std::span<const uint8_t> record);

// Piece of a record, empty when it leaves the record.
std::span<const uint8_t> Carve(std::span<const uint8_t> record, uint64_t offset, uint64_t size);

// Calls `visit(entry, words)` for each entry of a section: the entry as stored (its head only when
// compact) and its extended words. False when the section leaves the record.
template <class Visit>
bool VisitSection(const PslHeader& header, std::span<const uint8_t> record, const SectionRow& row,
                  Visit visit);

// Number of 32-bit words behind a full entry of a kind.
size_t WordsOf(const PslHeader& header, Kind kind);

struct SectionPlace {
  uint32_t count;
  uint32_t offset;
};
SectionPlace PlaceOf(std::span<const uint8_t> record, const SectionRow& row);

template <class Visit>
bool VisitSection(const PslHeader& header, std::span<const uint8_t> record, const SectionRow& row,
                  Visit visit) {
  const Form& form = kForms[row.form];
  const SectionPlace place = PlaceOf(record, row);
  if (place.offset == 0) return true;
  const size_t words = 4 * WordsOf(header, row.kind);
  uint64_t at = place.offset;
  for (uint32_t i = 0; i < place.count; ++i) {
    std::span<const uint8_t> entry = Carve(record, at, form.head);
    if (entry.empty()) return false;
    const bool compact = form.compact != kNone && entry[static_cast<size_t>(form.compact)] != 0;
    if (compact) {
      visit(entry, std::span<const uint8_t>());
      at += form.head;
      continue;
    }
    entry = Carve(record, at, form.size + words);
    if (entry.empty()) return false;
    visit(entry.first(form.size), entry.subspan(form.size));
    at += form.size + words;
  }
  return true;
}
