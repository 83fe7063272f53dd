// Entries of statistics records as named values: the fields of their form, what follows from them
// (rates, percentages, extremes), and on request the words as they stand in the file.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "engine/layout/layout.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

// Nothing: the entry does not say it.
using Value = std::variant<std::monostate, uint64_t, double, bool, std::string>;

struct Column {
  std::string name;   // "g1_ops_per_s"
  std::string head;   // in tables: "ops/s"
  uint8_t group = 0;  // counter group, from 1; 0: of the entry as a whole
};

// Columns that are wanted of very many entries; nothing is made of the others.
struct ColumnChoice {
  // `places`: for each column the place of its number, or kNowhere.
  ColumnChoice(const std::vector<Column>& columns, std::vector<uint8_t> places);
  // The columns marked.
  ColumnChoice(const std::vector<Column>& columns, const std::vector<bool>& wanted);

  static constexpr uint8_t kNowhere = 0xFF;
  std::vector<uint8_t> places;
  size_t count = 0;  // of places
  struct Group {
    size_t columns = 0;
    bool wanted = false;  // any column of it
  };
  std::vector<Group> groups;  // by number
};

// What stands for a number that the entry does not say.
inline constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
// A value as a number: flags are 1 and 0, texts none.
double NumberOr(const Value& value, double otherwise);

class EntryFields {
 public:
  // The fields of a kind's entries, laid out as the row says. `rule`: of the layout.
  EntryFields(const PslHeader& header, const SectionRow& row, QuadRule rule, bool raw);

  struct Entry {
    std::span<const uint8_t> bytes;  // as stored, its head only when compact
    std::span<const uint8_t> words;
    size_t key_count;  // key bytes in use
    uint64_t offset;   // in the file
  };

  const std::vector<Column>& columns() const { return columns_; }
  // One value for each column.
  void Decode(const Entry& entry, std::vector<Value>& values) const;
  // The same of the columns chosen; the others stay as they are.
  void Decode(const Entry& entry, const ColumnChoice& choice, std::vector<Value>& values) const;
  // The numbers of the columns chosen, in their places; kNoNumber where there is none.
  void DecodeNumbers(const Entry& entry, const ColumnChoice& choice,
                     std::vector<double>& numbers) const;

 private:
  template <class Put>
  void Walk(const Entry& entry, Put put) const;
  template <class Put>
  void WalkFlags(const Entry& entry, Put put) const;
  template <class Put>
  void WalkRatio(const Entry& entry, Put put) const;
  template <class Put>
  void WalkCache(const Entry& entry, Put put) const;
  struct Group {
    size_t number;  // from 1
    size_t at;      // of its words in the entry
    bool valid;     // it counts
  };
  template <class Put>
  void WalkGroup(const Entry& entry, const Group& group, Put put) const;
  template <class Put>
  void WalkExtremes(const Entry& entry, size_t group, Put put) const;
  Value WordAt(const Entry& entry, size_t position) const;

  const Form& form_;
  uint32_t mask_;
  uint32_t full_mask_;
  uint8_t revision_;
  bool filled_;  // ratio, marks and carried words stand in files of the revision
  QuadRule rule_;
  bool raw_;
  std::vector<Column> columns_;
};

// The elements of an optional item kind.
class ElementFields {
 public:
  ElementFields(Kind kind, bool raw);

  struct Element {
    std::span<const uint8_t> item;  // its head at least
    std::span<const uint8_t> bytes;
    uint64_t offset;  // in the file
  };

  const std::vector<Column>& columns() const { return columns_; }
  void Decode(const Element& element, std::vector<Value>& values) const;
  // "7", "1.2.3.4".
  std::string KeyOf(std::span<const uint8_t> element) const;

 private:
  template <class Put>
  void Walk(const Element& element, Put put) const;

  Kind kind_;
  bool raw_;
  std::vector<Column> columns_;
};

// Operations that a count word stands for.
double DecodeCountWord(uint32_t word);

}  // namespace psltool
