// Columns as bytes: see the header.
#include "tools/page/encode.h"

#include <zlib.h>

#include <array>
#include <bit>
#include <optional>
#include <stdexcept>

#include "tools/reading/entry_fields.h"

namespace psltool {

namespace {

constexpr std::array<double, 3> kScales = {1, 100, 1000};
constexpr double kLargestInteger = 1LL << 48;

bool Same(double a, double b) { return (std::isnan(a) && std::isnan(b)) || a == b; }

void PutByte(uint64_t byte, PageBytes& bytes) { bytes.push_back(static_cast<uint8_t>(byte)); }

void PutDouble(double number, PageBytes& bytes) {
  const auto bits = std::bit_cast<uint64_t>(number);
  for (int i = 0; i < 8; ++i) PutByte(bits >> (8 * i) & 0xFF, bytes);
}

template <class Word, class Of>
void PutPlanes(std::span<const double> numbers, size_t width, Of of, PageBytes& bytes) {
  for (size_t plane = 0; plane < width; ++plane) {
    for (const double number : numbers) {
      PutByte(static_cast<Word>(of(number)) >> (8 * plane) & 0xFF, bytes);
    }
  }
}

// The numbers as whole multiples of 1 / scale.
struct Integers {
  double scale;
  double least;
  double most;
};

// The scale by which each number is one, and comes back as it was.
std::optional<size_t> ScaleOf(std::span<const double> numbers, Integers& found) {
  for (size_t i = 0; i < kScales.size(); ++i) {
    found = {kScales[i], kLargestInteger, -kLargestInteger};
    bool all = true;
    for (const double number : numbers) {
      if (std::isnan(number)) continue;
      const double whole = std::nearbyint(number * kScales[i]);
      // A negative zero would come back as zero.
      all = std::abs(whole) < kLargestInteger && whole / kScales[i] == number &&
            !(number == 0 && std::signbit(number));
      if (!all) break;
      found.least = std::min(found.least, whole);
      found.most = std::max(found.most, whole);
    }
    if (all && found.most - found.least + 1 < kLargestInteger) return i;
  }
  return std::nullopt;
}

bool AreFloats(std::span<const double> numbers) {
  return std::all_of(numbers.begin(), numbers.end(), [](double number) {
    return std::isnan(number) || static_cast<double>(static_cast<float>(number)) == number;
  });
}

using Formula = double (*)(double operations, double milliseconds, double second);

double RateOf(double operations, double milliseconds, double) {
  return milliseconds > 0 ? operations / (milliseconds / 1000.0) : kNoNumber;
}
double ItemRateOf(double operations, double milliseconds, double) {
  return milliseconds > 0 ? operations * 1000.0 / milliseconds : kNoNumber;
}
// An idle entry has no averages, and a volume of 0.
double VolumeOf(double operations, double milliseconds, double second) {
  if (!(milliseconds > 0) || std::isnan(operations)) return kNoNumber;
  const double volume = std::isnan(second) ? 0.0 : second * operations;
  return volume / (milliseconds / 1000.0) / 1024.0;
}

struct FormulaRow {
  ColumnForm form;
  Formula formula;
  bool takes_second;
};
constexpr FormulaRow kFormulas[] = {{ColumnForm::kRate, RateOf, false},
                                    {ColumnForm::kItemRate, ItemRateOf, false},
                                    {ColumnForm::kVolume, VolumeOf, true}};

bool Follows(std::span<const double> numbers, const ColumnSources& from, Formula formula) {
  for (size_t i = 0; i < numbers.size(); ++i) {
    const double second = from.second.empty() ? kNoNumber : from.second[i];
    if (!Same(numbers[i], formula(from.operations[i], from.milliseconds[i], second))) return false;
  }
  return true;
}

}  // namespace

double Rounded(double number) {
  // Of the 23 bits of a float 19 are kept.
  constexpr uint32_t kLost = 4;
  if (std::isnan(number)) return number;
  const auto bits = std::bit_cast<uint32_t>(static_cast<float>(number));
  return std::bit_cast<float>((bits + (1U << (kLost - 1))) >> kLost << kLost);
}

void PutColumn(std::span<const double> numbers, PageBytes& bytes) {
  const auto form = [&](ColumnForm of) { PutByte(static_cast<uint8_t>(of), bytes); };
  if (std::all_of(numbers.begin(), numbers.end(), [](double each) { return std::isnan(each); })) {
    return form(ColumnForm::kNothing);
  }
  if (std::all_of(numbers.begin(), numbers.end(),
                  [&](double each) { return each == numbers.front(); })) {
    form(ColumnForm::kConstant);
    return PutDouble(numbers.front(), bytes);
  }
  Integers integers = {};
  const std::optional<size_t> scale = ScaleOf(numbers, integers);
  if (scale) {
    const auto range = static_cast<uint64_t>(integers.most - integers.least + 1);
    const size_t width = (static_cast<size_t>(std::bit_width(range)) + 7) / 8;
    form(ColumnForm::kIntegers);
    PutByte(width, bytes);
    PutByte(*scale, bytes);
    PutDouble(integers.least, bytes);
    return PutPlanes<uint64_t>(
        numbers, width,
        [&](double number) {
          return std::isnan(number) ? 0.0
                                    : std::nearbyint(number * integers.scale) - integers.least + 1;
        },
        bytes);
  }
  if (AreFloats(numbers)) {
    form(ColumnForm::kFloats);
    return PutPlanes<uint32_t>(
        numbers, 4,
        [](double number) { return std::bit_cast<uint32_t>(static_cast<float>(number)); }, bytes);
  }
  form(ColumnForm::kDoubles);
  PutPlanes<uint64_t>(
      numbers, 8, [](double number) { return std::bit_cast<uint64_t>(number); }, bytes);
}

void PutDerived(std::span<const double> numbers, const ColumnSources& sources, PageBytes& bytes) {
  if (!sources.operations.empty() && !sources.milliseconds.empty()) {
    for (const FormulaRow& row : kFormulas) {
      if (row.takes_second && sources.second.empty()) continue;
      if (!Follows(numbers, sources, row.formula)) continue;
      return PutByte(static_cast<uint8_t>(row.form), bytes);
    }
  }
  PutColumn(numbers, bytes);
}

std::string Packed(std::span<const uint8_t> bytes) {
  z_stream stream = {};
  constexpr int kRaw = -15;
  constexpr int kMemory = 9;
  constexpr int kEffort = 6;
  if (deflateInit2(&stream, kEffort, Z_DEFLATED, kRaw, kMemory, Z_DEFAULT_STRATEGY) != Z_OK) {
    throw std::bad_alloc();
  }
  PageBytes packed(deflateBound(&stream, bytes.size()));
  stream.next_in = const_cast<uint8_t*>(bytes.data());
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = packed.data();
  stream.avail_out = static_cast<uInt>(packed.size());
  const int end = deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  if (end != Z_STREAM_END) throw std::runtime_error("a piece of the page cannot be packed");
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve(packed.size() * 4 / 3 + 4);
  for (size_t at = 0; at < packed.size(); at += 3) {
    uint32_t word = 0;
    for (size_t i = 0; i < 3; ++i)
      word = word << 8 | (at + i < packed.size() ? packed[at + i] : 0U);
    const size_t there = std::min<size_t>(packed.size() - at, 3);
    for (size_t i = 0; i < 4; ++i) {
      text += i <= there ? kDigits[word >> (18 - 6 * i) & 63] : '=';
    }
  }
  return text;
}

}  // namespace psltool
