// What is kept of a walk over the fields of an entry: names, values, or the numbers of some.
#pragma once

#include <fmt/format.h>

#include <string>
#include <vector>

#include "tools/reading/entry_fields.h"

namespace psltool {

inline double AsNumber(const Value& value, double otherwise) {
  if (const auto* number = std::get_if<uint64_t>(&value)) return static_cast<double>(*number);
  if (const auto* real = std::get_if<double>(&value)) return *real;
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? 1 : 0;
  return otherwise;
}

// Keeps the names of a walk.
struct Namer {
  static constexpr bool kNames = true;
  static bool Skips(size_t) { return false; }
  std::vector<Column>& columns;
  template <class Make>
  void operator()(const char* name, const char* head, size_t group, Make) const {
    columns.push_back({group == 0 ? std::string(name) : fmt::format("g{}_{}", group, name), head,
                       static_cast<uint8_t>(group)});
  }
};

// Keeps its values.
struct Taker {
  static constexpr bool kNames = false;
  static bool Skips(size_t) { return false; }
  std::vector<Value>& values;
  template <class Make>
  void operator()(const char*, const char*, size_t, Make make) const {
    values.push_back(make());
  }
};

// Passes by the groups of which no column is wanted.
struct Chooser {
  static constexpr bool kNames = false;
  const ColumnChoice& choice;
  size_t& at;
  bool Skips(size_t group) const {
    if (choice.groups[group].wanted) return false;
    at += choice.groups[group].columns;
    return true;
  }
};

// Keeps the values of columns that are wanted.
struct ValuePicker : Chooser {
  std::vector<Value>& values;
  template <class Make>
  void operator()(const char*, const char*, size_t, Make make) const {
    if (choice.places[at] != ColumnChoice::kNowhere) values[at] = make();
    ++at;
  }
};

// Keeps the numbers of columns that are wanted.
struct Picker : Chooser {
  double* numbers;
  template <class Make>
  void operator()(const char*, const char*, size_t, Make make) const {
    const uint8_t place = choice.places[at++];
    if (place != ColumnChoice::kNowhere) numbers[place] = AsNumber(make(), kNoNumber);
  }
};

}  // namespace psltool
