// Records taken apart into named fields that cover every byte, and what differs between a record
// and the one that should stand in its place.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "areas/kinds.h"
#include "engine/layout/layout.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

struct FieldSpan {
  uint64_t at;  // in its part
  uint64_t width;
  std::string name;  // as `dump` calls it where it shows the field
};

// The bytes of one entry, of an item's head, of a list entry or of a record's head.
struct RecordPart {
  enum class Type : uint8_t { kHead, kBasic, kList, kEntry, kItem, kElement, kRest };
  Type type;
  Kind kind;  // kNoKind: of no resource
  uint32_t index;
  uint64_t at;  // in the record
  uint64_t size;
  FormId form;  // of entries
};

// What must be known to take an archive's records apart.
struct FieldContext {
  // Of archives of a header: what its item masks say does not count, but what its revision has.
  static FieldContext OfArchive(const PslHeader& header);

  PslHeader header;             // with the item masks that the records go by
  size_t cheseg_key_count = 1;  // key bytes of cache segments
};

// The parts of a record in the order in which they stand; together they cover it.
std::vector<RecordPart> PartsOf(const FieldContext& context, std::span<const uint8_t> record);

// The fields of a part; together they cover it.
std::vector<FieldSpan> FieldsOf(const FieldContext& context, std::span<const uint8_t> record,
                                const RecordPart& part);

struct FieldDifference {
  uint64_t offset;  // in the record
  uint64_t width;
  std::string kind;  // "ld"; empty: of no resource
  std::string key;
  std::string field;
  std::string stored;  // numbers as they stand, else hexadecimal; empty: no such bytes
  std::string expected;
};
using DifferenceSink = std::function<void(const FieldDifference&)>;

// Names every field in which `stored` is not `expected`.
void CompareRecords(const FieldContext& context, std::span<const uint8_t> expected,
                    std::span<const uint8_t> stored, const DifferenceSink& sink);

// The fields of an entry of a kind, its extended words included.
std::vector<FieldSpan> EntryFieldSpans(const Form& form, QuadRule rule, uint32_t mask,
                                       size_t key_count, size_t size);

}  // namespace psltool
