// Columns of numbers as bytes of a page. Every number comes back as the same double: whole
// multiples of a hundredth or thousandth as integers of as many bytes as their range needs, what
// follows from other columns as nothing at all, the rest as it is. The bytes of a column stand in
// planes (all lowest bytes, then the next ones), which packs better. web/bytes.js reads them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace psltool {

using PageBytes = std::vector<uint8_t>;

// First byte of a column.
enum class ColumnForm : uint8_t {
  kNothing,   // no number at all
  kConstant,  // f64
  kIntegers,  // width, scale, f64 least; planes of (number - least + 1), 0: none
  kDoubles,   // eight planes, NaN: none
  kFloats,    // four planes
  kRate,      // operations / (milliseconds / 1000)
  kItemRate,  // operations * 1000 / milliseconds
  kVolume,    // second average * operations / (milliseconds / 1000) / 1024
};

// A number to six digits, which packs into less than half of what it took.
double Rounded(double number);

void PutColumn(std::span<const double> numbers, PageBytes& bytes);

// What a column might follow from; empty: not there.
struct ColumnSources {
  std::span<const double> operations;
  std::span<const double> milliseconds;
  std::span<const double> second;
};
// As PutColumn, by a formula where that gives each of the numbers.
void PutDerived(std::span<const double> numbers, const ColumnSources& sources, PageBytes& bytes);

// Values of some resources over some steps, as parts of the largest of each resource: one or two
// bytes each, 0 for none. `count` resources, value(resource, step).
struct MatrixShape {
  size_t resources;
  size_t steps;
  bool wide;  // two bytes
};
template <class Value>
void PutMatrix(const MatrixShape& shape, Value value, PageBytes& bytes);

// As standard base64 of raw deflate.
std::string Packed(std::span<const uint8_t> bytes);

}  // namespace psltool

#include <algorithm>
#include <cmath>

namespace psltool {

template <class Value>
void PutMatrix(const MatrixShape& shape, Value value, PageBytes& bytes) {
  std::vector<double> scales;
  for (size_t i = 0; i < shape.resources; ++i) {
    double most = 0;
    for (size_t step = 0; step < shape.steps; ++step) {
      const double number = value(i, step);
      if (number > most) most = number;
    }
    scales.push_back(static_cast<float>(most));
  }
  PutColumn(scales, bytes);
  const double levels = shape.wide ? 65534 : 254;
  PageBytes high;
  for (size_t i = 0; i < shape.resources; ++i) {
    for (size_t step = 0; step < shape.steps; ++step) {
      const double number = value(i, step);
      long code = 0;
      if (!std::isnan(number)) {
        code = 1 + (scales[i] > 0 ? std::lround(std::min(number / scales[i], 1.0) * levels) : 0);
      }
      bytes.push_back(static_cast<uint8_t>(code & 0xFF));
      if (shape.wide) high.push_back(static_cast<uint8_t>(code >> 8));
    }
  }
  bytes.insert(bytes.end(), high.begin(), high.end());
}

}  // namespace psltool
