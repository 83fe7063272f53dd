// Entries of statistics records as named values: the fields of their form, what follows from them
// (rates, percentages, extremes), and on request the words as they stand in the file.
#pragma once

#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "engine/layout/layout.h"
#include "tools/reading/contents.h"
#include "tools/reading/psl_reader.h"

namespace psltool {

// Nothing: the entry does not say it.
using Value = std::variant<std::monostate, uint64_t, double, bool, std::string>;

struct Column {
  std::string name;     // "g1_ops_per_s"
  std::string heading;  // in tables: "ops/s"
  uint8_t group = 0;    // counter group, from 1; 0: of the entry as a whole
  Content content = Content::kField;
  Role role = Role::kNothing;  // of fields

  // Without the group: "ops_per_s".
  std::string_view base() const { return std::string_view(name).substr(group == 0 ? 0 : 3); }
  ColumnSort sort() const {
    return content == Content::kField ? ColumnSort(role) : ColumnSort(content);
  }
  ContentRow row() const { return content == Content::kField ? RowOf(role) : RowOf(content); }
};

// Columns that are wanted of very many entries; nothing is made of the others.
struct ColumnChoice {
  // `places`: for each column the place of its number, or kNowhere.
  explicit ColumnChoice(const std::vector<uint8_t>& places);
  // The columns marked.
  explicit ColumnChoice(const std::vector<bool>& wanted);

  static constexpr uint8_t kNowhere = 0xFF;
  std::vector<std::pair<size_t, uint8_t>> columns;  // with their places
  size_t count = 0;                                 // of places
};

// What stands for a number that the entry does not say.
inline constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();
// A value as a number: flags are 1 and 0, texts none.
double NumberOr(const Value& value, double otherwise);

class EntryFields {
 public:
  // The fields of a kind's entries, laid out as the row says. `rule`: of the layout.
  EntryFields(const PslHeader& header, const SectionRow& row, QuadRule rule, bool raw);
  // Those of the elements of an optional item.
  EntryFields(const ItemRow& row, bool raw);

  struct Entry {
    std::span<const uint8_t> bytes;  // as stored, its head only when compact
    std::span<const uint8_t> words;
    size_t key_count;                    // key bytes in use
    uint64_t offset;                     // in the file
    std::span<const uint8_t> item = {};  // of an element: the item, its head at least
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
  // A value that is no text.
  using Figure = std::variant<std::monostate, uint64_t, double, bool>;
  // How the value of a column is made.
  struct Step {
    Content content = Content::kField;
    Field field = {0, Role::kNothing};  // of contents of a counter group: where the group stands
    uint8_t position = 0;  // of an extended word its item bit, from bit 31 down; of other words
                           // their number
    bool always = false;   // the group counts in entries that are not valid, too
  };

  void Add(const Step& step, size_t group = 0);
  void Add(const Step& step, std::string name, std::string heading, size_t group);
  void AddField(const Field& field, size_t& groups);
  void AddRatio(const Field& field);
  void AddGroup(size_t number, const Field& field);
  void AddExtremes(size_t number, const Field& field);

  Value ValueOf(const Step& step, const Entry& entry) const;
  Figure FigureOf(const Step& step, const Entry& entry) const;
  Figure FieldFigure(const Field& field, const Entry& entry) const;
  Figure GroupFigure(const Step& step, const Entry& entry) const;
  Figure ExtremeFigure(const Step& step, const Entry& entry) const;
  Figure RatioExtreme(const Step& step, const Entry& entry) const;
  Figure WordAt(const Entry& entry, size_t position) const;
  std::string KeyOf(const Entry& entry) const;

  const Form& form_;
  const ItemRow* item_ = nullptr;
  uint32_t mask_ = 0;
  uint32_t full_mask_ = 0;
  uint8_t revision_ = 0;
  QuadRule rule_ = QuadRule::kCurrent;
  bool raw_;
  std::vector<Column> columns_;
  std::vector<Step> steps_;  // of the columns
};

// The key of an optional item's element: "7", "1.2.3.4".
std::string ElementKey(const ItemRow& row, std::span<const uint8_t> element);

// Operations that a count word stands for.
double DecodeCountWord(uint32_t word);

}  // namespace psltool
