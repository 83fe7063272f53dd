// Damaged files: see the header.
#include "tests/support/damage.h"

#include <iterator>
#include <string_view>
#include <utility>

namespace {

using model::Random;

void Overwrite(Random& random, std::string& bytes) {
  for (int n = random.Range(1, 4); n > 0; --n) {
    bytes[random.Below(bytes.size())] =
        static_cast<char>(random.Percent(50) ? random.Range(0, 4) : random.Byte());
  }
}

void CutOut(Random& random, std::string& bytes) {
  const size_t at = random.Below(bytes.size());
  bytes.erase(at, 1 + random.Below(200));
}

void Insert(Random& random, std::string& bytes) {
  const size_t at = random.Below(bytes.size());
  bytes.insert(at, bytes.substr(random.Below(bytes.size()), 1 + random.Below(300)));
}

// Fields lie at even places.
void PutExtreme(Random& random, std::string& bytes) {
  using namespace std::string_view_literals;
  constexpr std::string_view kExtremes[] = {
      "\xFF\xFF\xFF\xFF"sv, "\x7F\xFF\xFF\xFF"sv, "\x80\0\0\0"sv, "\0\0\xFF\xFF"sv,
      "\0\0\0\0"sv,         "\xFF\xFF"sv,         "\x7F\xFF"sv,   "\0\x01"sv};
  const std::string_view extreme = kExtremes[random.Below(std::size(kExtremes))];
  const size_t at = random.Below(bytes.size()) & ~size_t{1};
  bytes.replace(at, extreme.size(), extreme);
}

}  // namespace

std::string Damaged(Random& random, std::string bytes) {
  const int draw = random.Range(0, 9);
  if (draw < 6) {
    Overwrite(random, bytes);
  } else if (draw < 7) {
    bytes.resize(random.Below(bytes.size()));
  } else if (draw < 9) {
    CutOut(random, bytes);
  } else {
    Insert(random, bytes);
  }
  return bytes;
}

std::string DamagedOnPurpose(Random& random, std::string bytes) {
  if (random.Percent(60)) return Damaged(random, std::move(bytes));
  for (int n = random.Range(1, 3); n > 0; --n) PutExtreme(random, bytes);
  return random.Percent(80) ? bytes : Damaged(random, std::move(bytes));
}
