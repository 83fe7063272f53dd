// What a command has to say about a place in a file: shared by the reader and by the checks, so
// that every command names file, record, offset and field in the same words.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace psltool {

enum class Severity : uint8_t {
  kNote,        // of an archive: unlikely, unless the collector's own words say so
  kWarning,     // odd, but the archiver takes the file
  kError,       // the archiver refuses the file or breaks it off here, or never writes such a one
  kUnreadable,  // says nothing about the content: the file could not be opened or read
};

struct Finding {
  Severity severity = Severity::kError;
  const char* code = "";  // the class of the finding, a stable word for programs
  uint64_t record = 0;    // number of the record in its file, the file header being 0
  std::string tag;        // of the record, empty when there is none
  uint64_t offset = 0;    // in the file, of the field that is at fault
  std::string field;      // "section ld, entry 3, key"; empty: the record as a whole
  std::string text;
  bool placed = true;  // false: of the file as a whole; then record and offset mean nothing
};

using FindingSink = std::function<void(const Finding&)>;

// "record 12 (STA) at offset 3456, record length: a length of 7 bytes".
std::string Describe(const Finding& finding);

// The same, with what to do next where the file is broken: for commands that end with it.
std::string DescribeWithAdvice(const Finding& finding);

// Three characters of a tag as they can be printed: bytes that are none become "\x00".
std::string TagText(std::string_view tag);

// Passes findings about one record on and remembers whether one was an error.
class RecordReport {
 public:
  RecordReport(const FindingSink& sink, uint64_t number, uint64_t position, std::string_view tag)
      : sink_(sink), number_(number), position_(position), tag_(TagText(tag)) {}

  // `at`: offset of the field in the record. Error returns false.
  bool Error(const char* code, uint64_t at, std::string field, std::string text);
  void Warn(const char* code, uint64_t at, std::string field, std::string text);
  void Note(const char* code, uint64_t at, std::string field, std::string text);
  bool sound() const { return sound_; }

 private:
  const FindingSink& sink_;
  uint64_t number_;
  uint64_t position_;
  std::string tag_;
  bool sound_ = true;
};

}  // namespace psltool
