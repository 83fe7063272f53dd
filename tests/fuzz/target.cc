// Inputs of fuzz targets taken apart: see the header.
#include "tests/fuzz/target.h"

#include <algorithm>
#include <cstring>

namespace fuzz {

std::vector<Input> PiecesOf(Input input, size_t most) {
  std::vector<Input> pieces;
  while (pieces.size() < most) {
    // The C library's search is fast, also where everything else is instrumented.
    const void* const found = memmem(input.data(), input.size(), kMark.data(), kMark.size());
    if (found == nullptr) {
      pieces.push_back(input);
      break;
    }
    const auto size = static_cast<size_t>(static_cast<const uint8_t*>(found) - input.data());
    pieces.push_back(input.first(size));
    input = input.subspan(size + kMark.size());
  }
  return pieces;
}

std::string Joined(const std::vector<std::string>& pieces) {
  std::string joined;
  for (const std::string& piece : pieces) {
    if (&piece != &pieces.front()) joined += kMark;
    joined += piece;
  }
  return joined;
}

uint8_t Taker::Byte() {
  if (rest_.empty()) return 0;
  const uint8_t byte = rest_.front();
  rest_ = rest_.subspan(1);
  return byte;
}

uint32_t Taker::Word() {
  uint32_t word = 0;
  for (int i = 0; i < 4; ++i) word = word << 8 | Byte();
  return word;
}

std::string Taker::Text(size_t size) {
  const Input taken = rest_.first(std::min(size, rest_.size()));
  rest_ = rest_.subspan(taken.size());
  return TextOf(taken);
}

std::string TextOf(Input input) { return {input.begin(), input.end()}; }

}  // namespace fuzz
