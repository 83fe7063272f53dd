// Characters: see the header.
#include "tools/output/characters.h"

#include <algorithm>
#include <cstdint>

namespace psltool {

namespace {

uint8_t ByteAt(std::string_view text, size_t at) {
  return at < text.size() ? static_cast<uint8_t>(text[at]) : 0;
}

}  // namespace

size_t CharacterAt(std::string_view text, size_t at) {
  const uint8_t first = ByteAt(text, at);
  if (first < 0x80) return first >= 0x20 && first != 0x7F ? 1 : 0;
  const size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
  const uint8_t second = ByteAt(text, at + 1);
  if (first < 0xC2 || first > 0xF4 || (first == 0xC2 && second < 0xA0)) return 0;
  // Forms that are longer than needed, surrogates, and what lies behind the last code point.
  if ((first == 0xE0 && second < 0xA0) || (first == 0xED && second >= 0xA0) ||
      (first == 0xF0 && second < 0x90) || (first == 0xF4 && second >= 0x90)) {
    return 0;
  }
  for (size_t i = 1; i < length; ++i) {
    if (at + i >= text.size() || !IsInsideCharacter(text[at + i])) return 0;
  }
  return length;
}

size_t WidthOf(std::string_view text) {
  return text.size() -
         static_cast<size_t>(std::count_if(text.begin(), text.end(), IsInsideCharacter));
}

}  // namespace psltool
