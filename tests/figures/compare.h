// Holds what a program printed against the calculation, value by value.

#ifndef TESTS_FIGURES_COMPARE_H_
#define TESTS_FIGURES_COMPARE_H_

#include <cstddef>
#include <string>

#include "tests/figures/entries.h"

namespace figures {

/// Counts values and describes those that differ, the first of them in words.
class Comparison {
 public:
  /// Every name of either side; a name that one side lacks stands for "not said".
  void Take(const std::string& place, const Values& expected, const Values& printed);
  void TakeOne(const std::string& place, const std::string& name, const Json& expected,
               const Json& printed);

  std::size_t compared() const { return compared_; }
  std::size_t different() const { return different_; }
  /// How often each name differed, and the first differences.
  std::string Report() const;

 private:
  std::size_t compared_ = 0;
  std::size_t different_ = 0;
  std::map<std::string, std::size_t> names_;
  std::string first_;
};

/// True for equal texts, flags and nothings, and for numbers that differ by their last digits only.
bool SameValue(const Json& expected, const Json& printed);

}  // namespace figures

#endif  // TESTS_FIGURES_COMPARE_H_
