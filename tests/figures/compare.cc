// Comparison of values, and the account of those that differ.

#include "tests/figures/compare.h"

#include <algorithm>
#include <cmath>

namespace figures {

bool SameValue(const Json& expected, const Json& printed) {
  if (!expected.is_number() || !printed.is_number()) return expected == printed;
  const auto a = expected.get<double>();
  const auto b = printed.get<double>();
  return std::abs(a - b) <= 1e-12 * std::max(std::abs(a), std::abs(b));
}

void Comparison::TakeOne(const std::string& place, const std::string& name, const Json& expected,
                         const Json& printed) {
  constexpr std::size_t kTold = 12;
  if (expected.is_null() && printed.is_null()) return;
  ++compared_;
  if (SameValue(expected, printed)) return;
  ++different_;
  // Counter groups have the same names.
  const bool group = name.size() > 3 && name[0] == 'g' && name[2] == '_';
  ++names_[group ? name.substr(3) : name];
  if (different_ > kTold) return;
  first_ +=
      place + ", " + name + ": printed " + printed.dump() + ", expected " + expected.dump() + "\n";
}

void Comparison::Take(const std::string& place, const Values& expected, const Values& printed) {
  for (const auto& [name, value] : expected) {
    const auto found = printed.find(name);
    TakeOne(place, name, value, found == printed.end() ? Json() : found->second);
  }
  for (const auto& [name, value] : printed) {
    if (expected.count(name) == 0) TakeOne(place, name, Json(), value);
  }
}

std::string Comparison::Report() const {
  std::string text =
      std::to_string(different_) + " of " + std::to_string(compared_) + " values differ:";
  for (const auto& [name, times] : names_) text += " " + name + " x " + std::to_string(times) + ",";
  return text + "\n" + first_;
}

}  // namespace figures
