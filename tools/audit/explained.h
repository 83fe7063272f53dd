// How one stored number of an archive came about: the intervals that went into it, what they add up
// to, and which of them held a peak.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/reading/entry_fields.h"
#include "tools/reading/record_period.h"

namespace psltool {

// What an input says of the resource. Of optional items each item of the kind is listed, as it adds
// to the time, whether or not it holds the element.
struct ExplainedInterval {
  std::string path;
  uint64_t record = 0;
  uint64_t offset = 0;  // of the entry in the file
  RecordPeriod period;  // of its record
  uint32_t length = 0;  // milliseconds
  bool valid = true;
  bool named = true;            // optional items: the item holds the element
  std::vector<Column> columns;  // of `dump`
  std::vector<Value> values;
};

struct ExplainedField {
  Column column;
  Gathered rule = Gathered::kDerived;
  Value expected;  // computed
  Value stored;    // of the archive
  // Of means: the sum of value times weight, what it was divided by, and in words.
  double sum = 0;
  double weight = 0;
  std::string by;
  std::optional<size_t> held_by;  // the first interval with this value: peaks and last values
};

struct Explanation {
  uint64_t record = 0;  // of the archive
  uint64_t offset = 0;  // of the entry, in the archive
  RecordPeriod period;
  uint8_t revision = 0;
  uint64_t differences = 0;  // fields that the archive stores otherwise
  bool of_items = false;     // of an optional item's element
  std::vector<ExplainedInterval> intervals;
  std::vector<ExplainedField> fields;
};

}  // namespace psltool
