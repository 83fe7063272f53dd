// Reads a log or archive record by record, independent of the archiver's work areas: the file
// header decides the layout and how many extended words stand behind each entry. Records are framed
// exactly as the archiver frames them; what breaks the framing becomes a finding with its place.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "areas/kinds.h"
#include "engine/framing.h"
#include "engine/layout/layout.h"
#include "tools/reading/finding.h"

namespace psltool {

struct PslHeader {
  uint8_t revision;
  char level;  // 'L', 'H' or 'D'
  std::array<uint32_t, kSectionKinds> masks;
};

class PslReader {
 public:
  enum class Reports { kPrinted, kKept };  // kKept: only `trouble` tells
  explicit PslReader(std::string path, Reports reports = Reports::kPrinted)
      : path_(std::move(path)), reports_(reports) {}
  ~PslReader();
  PslReader(const PslReader&) = delete;
  PslReader& operator=(const PslReader&) = delete;

  // Opens the file and reads its header, which is the record at hand then. False: reported.
  bool Open();

  // Reads the next record. False at the end of the file and for a broken record, which is reported;
  // `failed` tells them apart. Of records whose content has no meaning only the fixed part is read.
  bool Next();
  // The same in two steps: frame the record and read its first 12 bytes, then up to `most` of it.
  bool NextHeader();
  bool Load(size_t most = SIZE_MAX);
  bool failed() const { return failed_; }

  // Goes on at another place, after a failure too.
  void GoTo(uint64_t offset);

  // Reads `size` bytes from `offset` on, which must be in the file. False: reported.
  bool ReadAt(uint64_t offset, uint8_t* to, size_t size);

  // Reports that the record at hand is broken. Returns false.
  bool Broken(std::string_view reason);
  bool Broken(const char* code, uint64_t offset, std::string field, std::string text);
  // Reports what another reader of the same file could not read. Returns false.
  bool Inherit(const Finding& trouble);
  // What was reported last.
  const Finding& trouble() const { return trouble_; }

  const PslHeader& header() const { return header_; }
  std::span<const uint8_t> record() const { return record_; }
  std::string_view tag() const;
  const std::string& path() const { return path_; }
  uint64_t size() const { return size_; }          // of the file
  uint64_t position() const { return position_; }  // of the record at hand
  uint64_t number() const { return number_; }      // of the record at hand, the file header being 0
  uint32_t length() const { return length_; }      // of the record at hand, as its header says
  uint64_t next() const { return next_; }          // where the next record begins

 private:
  bool Unreadable(const std::string& why);
  // Judges the 12 bytes of the record header at hand.
  bool Framed();

  std::string path_;
  Reports reports_;
  int fd_ = -1;
  uint64_t size_ = 0;
  uint64_t next_ = 0;
  uint64_t position_ = 0;
  uint64_t number_ = 0;
  uint32_t length_ = 0;
  bool failed_ = false;
  PslHeader header_ = {};
  std::vector<uint8_t> record_;
  Finding trouble_;
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

// Judges the record at hand. The first error that `judge` reports; nothing: it is sound.
std::optional<Finding> ErrorOf(const PslReader& reader,
                               const std::function<bool(RecordReport&)>& judge);

struct SectionPlace {
  uint32_t count;
  uint32_t offset;
};
SectionPlace PlaceOf(std::span<const uint8_t> record, const SectionRow& row);
SectionPlace PlaceAt(std::span<const uint8_t> record, size_t slot);

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

}  // namespace psltool
