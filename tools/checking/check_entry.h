// Judges the entries of an archive's statistics records by what the archiver's own arithmetic
// leaves possible, without the inputs.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/reading/array_tables.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

// The section at hand.
struct EntrySection {
  const PslHeader& header;
  const SectionRow& row;
  QuadRule rule;
  size_t key_count;         // key bytes in use
  const std::string& name;  // "section ld"
};

class EntryJudge {
 public:
  EntryJudge(const EntrySection& section, RecordReport& report);

  // Judges an entry that stands at `at` in the record: the entry as stored and its extended words.
  // False: the archiver never writes such a one, reported. What may be due to the collector's own
  // words is a note.
  bool Judge(uint32_t index, uint64_t at, std::span<const uint8_t> entry,
             std::span<const uint8_t> words);

 private:
  struct Entry;
  bool Damaged(const Entry& e, const char* code, uint64_t at, const char* field, std::string text);
  void Note(const Entry& e, const char* code, uint64_t at, const char* field, std::string text);
  bool JudgeUnused(const Entry& e);
  bool JudgeHead(const Entry& e);
  bool JudgeCache(const Entry& e);
  bool JudgeIdle(const Entry& e);
  bool JudgeGroups(const Entry& e);
  void NoteExtremes(const Entry& e);
  void NoteRatio(const Entry& e);

  const EntrySection section_;  // callers hand in a passing one
  const Form& form_;
  RecordReport& report_;
  bool has_ratio_;               // of this form in this revision
  size_t words_;                 // extended words, when they are those of archives
  std::vector<uint8_t> unused_;  // by byte of the entry: bits that are 0
};

// Judges a quadset at `at`. False: reported.
bool JudgeGroup(QuadRule rule, const uint8_t* group, uint32_t time, uint64_t at,
                const std::string& field, RecordReport& report);

}  // namespace psltool
